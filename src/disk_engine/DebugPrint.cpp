#include "disk_engine/DebugPrint.h"

#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "platform/text.h"
#include "state/ProcessState.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace orv {

namespace {

constexpr std::int64_t kNsPerMillisecond = 1'000'000;

struct DebugTrace {
    DebugMode mode = DebugMode::off;
    std::function<void(std::wstring_view)> listener;
    std::optional<std::int64_t> firstUseNs;
};

void append(std::string_view line) {
    std::filesystem::path path = platform::current().systemFacts().mainModule();
    path.replace_extension(".log");
    std::ofstream(path, std::ios::app | std::ios::binary) << line;
}

} // namespace

void setDebugMode(DebugMode mode) {
    processWide<DebugTrace>().mode = mode;
}

void setDebugListener(std::function<void(std::wstring_view)> listener) {
    processWide<DebugTrace>().listener = std::move(listener);
}

bool debugWanted() noexcept {
    try {
        const auto& trace = processWide<DebugTrace>();
        return trace.mode != DebugMode::off || trace.listener;
    } catch (const std::exception&) {
        return false;
    }
}

void DebugPrint(std::wstring_view text) noexcept {
    try {
        auto& trace = processWide<DebugTrace>();
        const std::int64_t now = platform::current().clock().monotonicNs();
        if (!trace.firstUseNs) trace.firstUseNs = now;
        if (trace.listener) trace.listener(text);
        if (trace.mode == DebugMode::off) return;
        const std::int64_t elapsed = (now - *trace.firstUseNs) / kNsPerMillisecond;
        append(fmt::format("{:08d} {}\n", elapsed, platform::wideToUtf8(text)));
        if (trace.mode == DebugMode::fileAndMessage)
            platform::current().systemFacts().showMessage(L"Message", text);
    } catch (const std::exception&) {
        // A trace line that cannot be written is lost; what it speaks of goes on.
    }
}

} // namespace orv
