#include "Exports.h"
#include "Terminal.h"
#include "WatchScreen.h"
#include "platform/text.h"

#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <langinfo.h>
#include <mutex>
#include <ncurses.h>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace tool {

namespace {

constexpr int kPatience = 50; // milliseconds

std::atomic<bool> endAsked = false;
std::mutex terminal; // whoever writes to it or gives it back

void askForEnd(int) {
    endAsked = true;
}

/// Colours of a terminal with 256, and with 8.
struct Colour {
    Style style;
    short rich;
    short poor;
    attr_t attributes;
};
constexpr Colour kColours[] = {
    {Style::plain, -1, -1, A_NORMAL},
    {Style::title, -1, -1, A_BOLD},
    {Style::faint, 243, -1, A_DIM},
    {Style::good, 78, COLOR_GREEN, A_NORMAL},
    {Style::mild, 149, COLOR_GREEN, A_NORMAL},
    {Style::warm, 221, COLOR_YELLOW, A_NORMAL},
    {Style::hot, 209, COLOR_YELLOW, A_BOLD},
    {Style::bad, 203, COLOR_RED, A_BOLD},
    {Style::in, 75, COLOR_CYAN, A_NORMAL},
    {Style::out, 177, COLOR_MAGENTA, A_NORMAL},
};

class CursesScreen : public WatchScreen {
  public:
    CursesScreen(SCREEN* screen, std::FILE* keys) : screen_(screen), keys_(keys) {
        ::cbreak();
        ::noecho();
        ::nodelay(stdscr, TRUE);
        ::keypad(stdscr, TRUE);
        ::set_escdelay(25);
        ::curs_set(0);
        unicode_ = std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
        const char* no = std::getenv("NO_COLOR");
        if (!(no && *no) && ::has_colors()) startColours();
        // A terminal that goes away, Ctrl-C and kill end the loop, which gives the terminal back.
        struct sigaction action {};
        action.sa_handler = askForEnd;
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            ::sigaction(signal, &action, nullptr);
        beforeFaultEnd([] {
            terminal.lock(); // for good: nobody draws any more
            ::endwin();
        });
    }
    CursesScreen(const CursesScreen&) = delete;
    CursesScreen& operator=(const CursesScreen&) = delete;

    ~CursesScreen() override {
        std::lock_guard lock(terminal);
        beforeFaultEnd([] {});
        ::endwin();
        ::delscreen(screen_);
    }

    Look look() override { return {COLS, LINES, unicode_}; }

    void draw(const Picture& picture) override {
        std::lock_guard lock(terminal);
        ::erase();
        for (std::size_t row = 0; row < picture.size(); ++row)
            for (const Span& span : picture[row]) {
                if (span.column >= COLS) continue;
                ::attrset(attributesOf(span.style));
                const std::wstring text = orv::platform::utf8ToWide(span.text);
                ::mvaddnwstr(static_cast<int>(row), span.column, text.c_str(), COLS - span.column);
            }
        ::refresh();
    }

    Key key() override {
        pollfd input{::fileno(keys_), POLLIN, 0};
        const int ready = ::poll(&input, 1, kPatience);
        if (endAsked || (ready > 0 && (input.revents & (POLLHUP | POLLERR | POLLNVAL)))) return Key::end;
        std::lock_guard lock(terminal);
        const int code = ::getch(); // also tells of a new size
        // Something to read that is nothing, again and again, is the end of the input.
        nothing_ = ready > 0 && code == ERR ? nothing_ + 1 : 0;
        return nothing_ > 20 ? Key::end : keyOf(code);
    }

  private:
    static Key keyOf(int code) {
        switch (code) {
        case 'q':
        case 'Q':
        case 3: // Ctrl-C of a terminal that raises no signal
            return Key::end;
        case KEY_RESIZE:
            return Key::resize;
        case KEY_UP:
        case 'k':
            return Key::up;
        case KEY_DOWN:
        case 'j':
            return Key::down;
        case KEY_PPAGE:
            return Key::pageUp;
        case KEY_NPAGE:
        case ' ':
            return Key::pageDown;
        case KEY_HOME:
            return Key::top;
        default:
            return Key::none;
        }
    }

    void startColours() {
        ::start_color();
        ::use_default_colors();
        coloured_ = true;
        for (short pair = 1; const Colour& colour : kColours)
            ::init_pair(pair++, COLORS >= 256 ? colour.rich : colour.poor, -1);
    }

    attr_t attributesOf(Style style) const {
        for (short pair = 1; const Colour& colour : kColours) {
            if (colour.style == style) {
                if (!coloured_) return colour.attributes;
                if (COLORS < 256) return colour.attributes | COLOR_PAIR(pair);
                return (style == Style::title ? A_BOLD : A_NORMAL) | COLOR_PAIR(pair);
            }
            ++pair;
        }
        return A_NORMAL;
    }

    SCREEN* screen_;
    std::FILE* keys_;
    bool unicode_ = false;
    bool coloured_ = false;
    int nothing_ = 0;
};

} // namespace

std::unique_ptr<WatchScreen> openWatchScreen() {
    const char* kind = std::getenv("TERM");
    if (!prepareScreen() || !kind || std::string_view(kind) == "dumb") return nullptr;
    // Keys may come from elsewhere than standard input.
    std::FILE* keys = ::isatty(STDIN_FILENO) ? stdin : std::fopen("/dev/tty", "r");
    if (!keys) return nullptr;
    std::setlocale(LC_CTYPE, "");
    SCREEN* screen = ::newterm(nullptr, stdout, keys);
    return screen ? std::make_unique<CursesScreen>(screen, keys) : nullptr;
}

} // namespace tool
