#include "app/App.h"
#include "platform/Platform.h"

#include <exception>

int main(int argc, char** argv)
{
    framework::StartRuntime(argc, argv);
    framework::HandleTerminationSignals();
    platform::StartPlatform();
    velmora::_InitialiseModules();
    int exitCode = 1;
    try {
        exitCode = velmora::_Main();
    } catch (const std::exception& exception) {
        framework::System::Log(3, framework::String("Velmora ends: ") + exception.what());
    }
    velmora::_FinaliseModules();
    platform::EndPlatform();
    framework::EndRuntime();
    return framework::ExitStatus(exitCode);
}
