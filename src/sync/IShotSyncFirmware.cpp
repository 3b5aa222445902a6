// IShotSync: firmware and splash image transfer into the projector board (slot 69).
//
// The file goes to the board in chunks of at most 11 file bytes (12 on the wire after padding),
// each ending early at a 0x0A byte: the chunks are read like text lines on purpose. The whole
// transfer, its 5-second preparation sleep included, runs under m_csProjector, so no trigger,
// projection, status poll or snap can interleave with it.
#include <glog/logging.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/CriticalSectionGuard.h"
#include "platform/Sleep.h"
#include "sync/HostCallbackScope.h"
#include "sync/IShotSync.h"
#include "zetaVoroDLPdev.h"

namespace {

// Largest image file accepted. A splash image for the projector's panel is well under a megabyte
// and a firmware image a few megabytes; 64 MiB leaves ample room for both while keeping the
// transfer bounded: it makes one board call per 11 bytes of the file, all under the main lock,
// so even this limit means some six million calls.
constexpr std::uintmax_t kMaxImageFileBytes = 64u * 1024u * 1024u;

// The wide path as UTF-8 for fopen. wchar_t holds UTF-32 code points here (UTF-16 units where it
// is 16 bits wide; surrogate pairs are joined then).
std::string narrowPath(const wchar_t* path) {
    std::string out;
    for (const wchar_t* p = path; *p != L'\0'; ++p) {
        std::uint32_t code = static_cast<std::uint32_t>(*p);
        if (sizeof(wchar_t) == 2 && code >= 0xD800 && code <= 0xDBFF && p[1] >= 0xDC00 &&
            p[1] <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<std::uint32_t>(p[1]) - 0xDC00);
            ++p;
        }
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0 | (code >> 6));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
            out += static_cast<char>(0xE0 | (code >> 12));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (code >> 18));
            out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return out;
}

// True when `path` names a regular file of at most kMaxImageFileBytes, whose size is then in
// `size`. The transfer's progress is a share of the size, and the transfer must end: a file
// whose end is not known beforehand (a directory, a device such as /dev/zero, a FIFO) is
// refused. Such a file is never opened either: opening a FIFO waits for a writer.
bool IsBoundedRegularFile(const std::string& utf8Path, std::uintmax_t& size) {
    try {
        const std::filesystem::path path(std::u8string(utf8Path.begin(), utf8Path.end()));
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error) || error) return false;
        size = std::filesystem::file_size(path, error);
        return !error && size <= kMaxImageFileBytes;
    } catch (...) {
        return false;  // a path the file system cannot represent names no file
    }
}

// True when the open `file` holds exactly `size` bytes. A file can report a size of 0 and still
// have content (the kernel's files under /proc): its share of the size is undefined, so it is
// refused like a file whose size is not known. Leaves the position at the start.
bool HoldsExactly(std::FILE* file, std::uintmax_t size) {
    if (std::fseek(file, 0, SEEK_END) != 0) return false;
    const long end = std::ftell(file);
    bool exact = end >= 0 && static_cast<std::uintmax_t>(end) == size;
    if (exact) exact = std::fgetc(file) == EOF;
    return std::fseek(file, 0, SEEK_SET) == 0 && exact;
}

// Reads one line-oriented chunk into `buffer`: at most `maxBytes` bytes, ending after a 0x0A
// byte. False at the end of the file (nothing read). The buffer is not terminated: chunks are
// binary and their length comes from the file position.
bool readLineChunk(std::FILE* file, unsigned char* buffer, int maxBytes) {
    int count = 0;
    while (count < maxBytes) {
        const int c = std::fgetc(file);
        if (c == EOF) break;
        buffer[count++] = static_cast<unsigned char>(c);
        if (c == 0x0A) break;
    }
    return count > 0;
}

}  // namespace

int IShotSync::UpdateFirewareImageData(const wchar_t* path, int /*imageType*/,
                                       zetaVoroSync::UpdateProgressCallBack progressCallBack,
                                       void* pUserData) {
    // The progress callback is optional: a null one is simply not called.
    auto report = [this, progressCallBack, pUserData](int progress) {
        if (progressCallBack == nullptr) return;
        const CHostCallbackScope scope(this, CHostCallbackScope::Kind::FirmwareProgress);
        progressCallBack(pUserData, progress);
    };

    bool boardOpen = false;
    {
        zeta::platform::CriticalSectionGuard lock(m_csProjector);
        boardOpen = m_hProjector != nullptr;
    }
    if (!boardOpen) {
        LOG(INFO) << "UpdateFirewareImageData failed ";
        return -1;
    }
    // The system opened the wide path directly; here it is converted to UTF-8 for fopen. A null
    // path names no file and fails like a file that cannot be opened; so does any file but a
    // regular one of known, bounded size.
    const std::string utf8Path = path != nullptr ? narrowPath(path) : std::string();
    std::uintmax_t knownSize = 0;
    std::FILE* file = path != nullptr && IsBoundedRegularFile(utf8Path, knownSize)
                          ? std::fopen(utf8Path.c_str(), "rb")
                          : nullptr;
    if (file != nullptr && !HoldsExactly(file, knownSize)) {
        std::fclose(file);
        file = nullptr;
    }
    if (file == nullptr) {
        LOG(INFO) << "UpdateFirewareImageData failed ";
        return -1;
    }

    // A splash image is told by the name: the path must end in ".SPLASH", compared
    // case-sensitively.
    const std::wstring filePath(path);
    const std::wstring::size_type pos = filePath.rfind(L".SPLASH");
    const unsigned char imgType =
        (pos != std::wstring::npos && filePath.length() >= 7 && pos == filePath.length() - 7) ? 1
                                                                                              : 0;
    LOG(INFO) << "find_last_of pos=" << pos << "filePath.length=" << filePath.length();
    LOG(INFO) << "imgType=" << static_cast<int>(imgType);

    std::fseek(file, 0, SEEK_END);
    const long nFileLen = std::ftell(file);
    std::fseek(file, 0, SEEK_SET);
    LOG(INFO) << "nFileLen=" << nFileLen;

    report(0);

    m_csProjector.enter();
    if (!zetaVoroDLPdev::zetaE7StartWriteImage(m_hProjector, imgType)) {
        m_csProjector.leave();
        std::fclose(file);
        LOG(INFO) << "zetaStartWriteImage failed";
        return -1;
    }
    // The board prepares its flash before it takes data.
    zeta::platform::sleepMs(5000);

    bool bUpdateNormal = true;
    unsigned char buffer[12] = {};
    for (;;) {
        const long before = std::ftell(file);
        // Only the bytes measured above are sent, so the transfer ends and every share below
        // divides by a length of at least one byte, even should the file grow meanwhile.
        if (before < 0 || before >= nFileLen) break;
        const int maxBytes = static_cast<int>(std::min<long>(11, nFileLen - before));
        if (!readLineChunk(file, buffer, maxBytes)) break;
        const long after = std::ftell(file);
        int nLen = static_cast<int>(after - before);
        double percentage = 10000.0 * static_cast<double>(after) / static_cast<double>(nFileLen);
        // Chunks go out in whole words; the zeroed buffer supplies the padding.
        if (nLen % 4 != 0) nLen = (nLen / 4 + 1) * 4;
        LOG(INFO) << "nLen=" << nLen << "percentage=" << percentage;
        const unsigned char* const data = buffer;
        if (!zetaVoroDLPdev::zetaE7WriteImageData(m_hProjector, data, nLen)) {
            bUpdateNormal = false;
            break;
        }
        // The reported share stays at least one unit below the true one until the end.
        percentage -= 1.0;
        if (percentage < 0.0) percentage = 0.0;
        std::memset(buffer, 0, sizeof buffer);
        report(static_cast<int>(percentage));
    }

    zeta::platform::sleepMs(100);
    if (!zetaVoroDLPdev::zetaE7StopWriteImage(m_hProjector)) {
        m_csProjector.leave();
        std::fclose(file);
        report(10000);
        LOG(INFO) << "zetaStopWriteImage failed";
        return -1;
    }
    report(10000);
    m_csProjector.leave();
    std::fclose(file);
    LOG(INFO) << "UpdateFirewareImageData bUpdateNormal=" << bUpdateNormal;
    return bUpdateNormal ? 0 : -1;
}
