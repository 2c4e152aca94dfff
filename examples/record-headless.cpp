// SPDX-License-Identifier: MIT
// Records a camera for some seconds without a window: record-headless CAMERA SECONDS Movie.mov
#include "HeadlessRecorder.h"

#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fputs("Usage: record-headless CAMERA SECONDS MOVIE\n", stderr);
        return 1;
    }
    velmora::CaptureRuntime runtime(argc, argv, false);
    const auto recorder = std::make_shared<HeadlessRecorder>(argv[1], argv[3], std::atof(argv[2]));
    recorder->Construct();
    runtime.Run();
    return recorder->Succeeded() ? 0 : 1;
}
