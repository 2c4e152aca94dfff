// SPDX-License-Identifier: MIT
#include "framework/WholeFile.h"

namespace framework {

bool WholeFile::Open()
{
    // Without a buffer, a failure is reported by the write that causes it.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        failure = file.errorString();
    return failure.isEmpty();
}

void WholeFile::Write(QByteArrayView bytes)
{
    // A disk that becomes full writes only a part; the next write reports the reason.
    while (failure.isEmpty() && !bytes.isEmpty()) {
        const qint64 written = file.write(bytes.data(), bytes.size());
        if (written <= 0) {
            failure = file.errorString();
            file.cancelWriting();
        } else {
            bytes = bytes.sliced(written);
        }
    }
}

bool WholeFile::Finish()
{
    const bool done = file.commit();
    if (!done && failure.isEmpty())
        failure = file.errorString();
    return done;
}

} // namespace framework
