// A screen without a terminal library: cursor home and text, in no colour.

#include "Output.h"
#include "Terminal.h"
#include "WatchScreen.h"

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace tool {

namespace {

class PlainScreen : public WatchScreen {
  public:
    Look look() override {
        const ScreenSize size = screenSize();
        return {size.columns, size.rows, true};
    }

    void draw(const Picture& picture) override {
        std::string text = "\x1b[H";
        for (std::size_t row = 0; row < picture.size(); ++row) {
            int column = 0;
            for (const Span& span : picture[row]) {
                if (span.column > column) text.append(static_cast<std::size_t>(span.column - column), ' ');
                text += span.text;
                column = span.column + span.width;
            }
            text += row + 1 < picture.size() ? "\x1b[K\n" : "\x1b[K";
        }
        put(text + "\x1b[J");
    }

    std::vector<Key> keys() override {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const ScreenSize size = screenSize();
        const bool resized = size.columns != size_.columns || size.rows != size_.rows;
        size_ = size;
        return resized ? std::vector{Key::resize} : std::vector<Key>{};
    }

  private:
    ScreenSize size_;
};

} // namespace

void leaveSignalsToScreen() {}

std::unique_ptr<WatchScreen> openWatchScreen() {
    const char* terminal = std::getenv("TERM");
    if (terminal && std::string_view(terminal) == "dumb") return nullptr;
    return prepareScreen() ? std::make_unique<PlainScreen>() : nullptr;
}

} // namespace tool
