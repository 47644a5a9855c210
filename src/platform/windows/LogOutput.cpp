#include "platform/LogOutput.h"

#include <spdlog/details/os.h>

#include <windows.h>

#include <algorithm>
#include <array>

namespace orv::platform {

namespace {

bool writeAll(HANDLE file, std::string_view text) noexcept {
    DWORD written = 0;
    return ::WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0;
}

class LogFile final : public LogOutput {
  public:
    explicit LogFile(HANDLE file) : file_(file) {}
    ~LogFile() override { ::CloseHandle(file_); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    bool write(LogLines lines) noexcept override {
        writeAll(file_, textOf(lines));
        return true; // a full disk may have room for a later line
    }

  private:
    HANDLE file_;
};

// By level, as spdlog colours them: white, cyan, green, bright yellow, bright red, bright white on red.
constexpr WORD kWhite = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE;
constexpr std::array<WORD, 6> kColours = {kWhite,
                                          FOREGROUND_GREEN | FOREGROUND_BLUE,
                                          FOREGROUND_GREEN,
                                          FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_INTENSITY,
                                          FOREGROUND_RED | FOREGROUND_INTENSITY,
                                          BACKGROUND_RED | kWhite | FOREGROUND_INTENSITY};
constexpr WORD kAllButForeground = 0xFFF0;

class Console final : public LogOutput {
  public:
    explicit Console(HANDLE stream) : stream_(stream) {
        DWORD mode = 0;
        coloured_ = ::GetConsoleMode(stream, &mode) != 0;
    }

    bool write(LogLines lines) noexcept override {
        CONSOLE_SCREEN_BUFFER_INFO screen{};
        if (!coloured_ || !::GetConsoleScreenBufferInfo(stream_, &screen))
            return writeAll(stream_, textOf(lines));
        return std::all_of(lines.begin(), lines.end(),
                           [&](const LogLine& line) { return printColoured(line, screen.wAttributes); });
    }

  private:
    bool printColoured(const LogLine& line, WORD usual) noexcept {
        const auto level = line.text.substr(line.levelFrom, line.levelTo - line.levelFrom);
        if (!print(line.text.substr(0, line.levelFrom))) return false;
        const auto colour = kColours[line.level] | (usual & kAllButForeground);
        ::SetConsoleTextAttribute(stream_, static_cast<WORD>(colour));
        const bool printed = print(level);
        ::SetConsoleTextAttribute(stream_, usual);
        return printed && print(line.text.substr(line.levelTo));
    }
    bool print(std::string_view text) noexcept {
        const auto size = static_cast<DWORD>(text.size());
        return ::WriteConsoleA(stream_, text.data(), size, nullptr, nullptr) != 0;
    }

    HANDLE stream_;
    bool coloured_ = false;
};

} // namespace

std::unique_ptr<LogOutput> openConsole(ConsoleStream stream) {
    const HANDLE handle =
        ::GetStdHandle(stream == ConsoleStream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return nullptr;
    return std::make_unique<Console>(handle);
}

std::unique_ptr<LogOutput> openLogFile(const std::string& directory, const std::string& name) {
    if (!spdlog::details::os::create_dir(directory)) return nullptr;
    const HANDLE file =
        ::CreateFileA((directory + "/" + name).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return nullptr;
    return std::make_unique<LogFile>(file);
}

std::optional<std::string> environmentVariable(const char* name) {
    std::array<char, 64> text{};
    const DWORD length = ::GetEnvironmentVariableA(name, text.data(), static_cast<DWORD>(text.size()));
    if (length == 0 || length >= text.size()) return std::nullopt;
    return std::string(text.data(), length);
}

} // namespace orv::platform
