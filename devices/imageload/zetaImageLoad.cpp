// The image library's exported operation, journaled as device "image".
#include "zetaImageLoad.h"

#include "DeviceCall.h"
#include "ImageFileWriter.h"

namespace zetaImageLoad {

bool zetaWriteImage(const char* path, const unsigned char* data, int width, int height,
                    int channels) {
    zeta::sim::DeviceCall call("zetaWriteImage", "image");
    // The pixel buffer is journaled as its length (null when there is none).
    call.arg(path);
    if (data == nullptr) {
        call.arg(static_cast<const char*>(nullptr));
    } else {
        const long long length = static_cast<long long>(width > 0 ? width : 0) *
                                 (height > 0 ? height : 0) * (channels > 0 ? channels : 0);
        call.arg(length);
    }
    call.arg(width).arg(height).arg(channels);
    // An injected fault fails the call before anything is created on disk.
    if (call.mustFail()) return call.finish(false);
    const auto result =
        zeta::imageload::ImageFileWriter::write(path, data, width, height, channels);
    return call.finish(result == zeta::imageload::WriteResult::ok);
}

}  // namespace zetaImageLoad
