// ChildProcess on Windows: CreateProcessW with the child's standard handles on anonymous pipes,
// read by polling (PeekNamedPipe), so that a reader can give up.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <cwctype>

#include "ChildProcess.h"

namespace zeta::test {

struct ChildProcess::Native {
    HANDLE process = nullptr;
    HANDLE pipes[2] = {nullptr, nullptr};  // read ends of the child's stdout and stderr
    bool killed = false;
};

namespace {

std::wstring widen(const std::string& text) {
    if (text.empty()) return {};
    const int size =
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
    return wide;
}

// One argument as the child's C runtime (CommandLineToArgvW's rules) splits it back out.
std::wstring quoted(const std::wstring& arg) {
    if (!arg.empty() && arg.find_first_of(L" \t\n\v\"") == std::wstring::npos) return arg;
    std::wstring out = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : arg) {
        if (c == L'\\') {
            ++backslashes;
            continue;
        }
        if (c == L'"') {
            out.append(backslashes * 2 + 1, L'\\');
        } else {
            out.append(backslashes, L'\\');
        }
        backslashes = 0;
        out.push_back(c);
    }
    out.append(backslashes * 2, L'\\');
    out.push_back(L'"');
    return out;
}

bool sameName(const std::wstring& a, const std::wstring& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(),
                      [](wchar_t x, wchar_t y) { return std::towupper(x) == std::towupper(y); });
}

// The test's environment with the changes of `options`, as a block for CreateProcessW.
std::wstring environmentBlock(const ChildProcess::Options& options) {
    std::vector<std::wstring> entries;
    if (wchar_t* strings = GetEnvironmentStringsW()) {
        for (const wchar_t* entry = strings; *entry != L'\0'; entry += wcslen(entry) + 1) {
            const std::wstring text(entry);
            // Names are compared without case, as Windows does; "=C:" entries keep their '='.
            const std::wstring name = text.substr(0, text.find(L'=', 1));
            bool changed = false;
            for (const auto& [setName, value] : options.setVars) {
                changed = changed || sameName(name, widen(setName));
            }
            for (const std::string& unsetName : options.unsetVars) {
                changed = changed || sameName(name, widen(unsetName));
            }
            if (!changed) entries.push_back(text);
        }
        FreeEnvironmentStringsW(strings);
    }
    for (const auto& [name, value] : options.setVars) entries.push_back(widen(name + "=" + value));
    std::wstring block;
    for (const std::wstring& entry : entries) {
        block += entry;
        block.push_back(L'\0');
    }
    block.push_back(L'\0');
    return block;
}

}  // namespace

ChildProcess::ChildProcess() = default;

ChildProcess::~ChildProcess() {
    finish();
}

bool ChildProcess::spawn(const Options& options) {
    native_ = std::make_unique<Native>();
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE writeEnds[2] = {nullptr, nullptr};
    for (int which = 0; which < 2; ++which) {
        if (!CreatePipe(&native_->pipes[which], &writeEnds[which], &inheritable, 0)) {
            for (HANDLE end : writeEnds) {
                if (end != nullptr) CloseHandle(end);
            }
            return false;
        }
        // Only the child's ends are inherited.
        SetHandleInformation(native_->pipes[which], HANDLE_FLAG_INHERIT, 0);
    }
    HANDLE input = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               &inheritable, OPEN_EXISTING, 0, nullptr);

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = writeEnds[0];
    startup.hStdError = writeEnds[1];

    const std::wstring program = options.program.wstring();
    std::wstring commandLine = quoted(program);
    for (const std::string& arg : options.args) commandLine += L" " + quoted(widen(arg));
    std::wstring environment = environmentBlock(options);
    const std::wstring workDir = options.workDir.wstring();

    PROCESS_INFORMATION info{};
    const BOOL created =
        CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                       CREATE_UNICODE_ENVIRONMENT | CREATE_NO_WINDOW, environment.data(),
                       workDir.empty() ? nullptr : workDir.c_str(), &startup, &info);
    for (HANDLE end : writeEnds) CloseHandle(end);
    if (input != INVALID_HANDLE_VALUE) CloseHandle(input);
    if (!created) return false;
    CloseHandle(info.hThread);
    native_->process = info.hProcess;
    pid_ = static_cast<long>(info.dwProcessId);
    return true;
}

void ChildProcess::readOutput(int which) {
    const HANDLE pipe = native_->pipes[which];
    char buffer[4096];
    while (!stopReading_) {
        DWORD available = 0;
        if (!PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr)) break;  // closed
        if (available == 0) {
            Sleep(2);
            continue;
        }
        DWORD read = 0;
        const DWORD wanted = std::min<DWORD>(available, sizeof buffer);
        if (!ReadFile(pipe, buffer, wanted, &read, nullptr) || read == 0) break;
        append(which, buffer, read);
    }
    append(which, buffer, 0);
}

bool ChildProcess::waitNative(std::chrono::milliseconds timeout) {
    const DWORD ms =
        static_cast<DWORD>(std::max<std::chrono::milliseconds::rep>(timeout.count(), 0));
    if (WaitForSingleObject(native_->process, ms) != WAIT_OBJECT_0) return false;
    DWORD code = 0;
    if (!native_->killed && GetExitCodeProcess(native_->process, &code)) {
        exitStatus_ = static_cast<int>(code);
    }
    return true;
}

void ChildProcess::killNative() {
    native_->killed = true;
    TerminateProcess(native_->process, 1);
}

void ChildProcess::closeNative() {
    if (!native_) return;
    for (HANDLE& pipe : native_->pipes) {
        if (pipe != nullptr) CloseHandle(pipe);
        pipe = nullptr;
    }
    if (native_->process != nullptr) CloseHandle(native_->process);
    native_->process = nullptr;
}

}  // namespace zeta::test
