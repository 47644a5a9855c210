#include "Exports.h"
#include "Terminal.h"
#include "WatchScreen.h"
#include "platform/text.h"

#include <array>
#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <langinfo.h>
#include <mutex>
#include <ncurses.h>
#include <optional>
#include <poll.h>
#include <string_view>
#include <term.h>
#include <termios.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr int kPatience = 50;    // milliseconds
constexpr int kMostKeys = 10000; // before a picture

std::atomic<bool> endAsked = false;
std::mutex terminal; // whoever writes to it or gives it back

void askForEnd(int) {
    endAsked = true;
}

/// What gives the terminal back where nothing but a signal handler can: the settings that it had, and the
/// texts that undo those of the screen.
struct Former {
    int file = -1;
    termios settings{};
    bool known = false;
    std::array<char, 512> text{};
    std::size_t size = 0;
} former;
std::atomic<bool> givenBack = true;

int addToFormer(int letter) {
    if (former.size < former.text.size()) former.text[former.size++] = static_cast<char>(letter);
    return letter;
}

/// Before the screen is opened.
void rememberSettings(int file) {
    former.file = file;
    former.known = ::tcgetattr(file, &former.settings) == 0;
}

/// After it was opened: colours, cursor, keypad and the other page of the terminal.
void rememberTexts() {
    former.size = 0;
    for (const char* name : {"sgr0", "op", "rmkx", "cnorm", "rmcup"}) {
        // The library takes a text that it does not change without a promise of it.
        const char* const text = ::tigetstr(const_cast<char*>(name));
        if (text && text != reinterpret_cast<const char*>(-1)) ::tputs(text, 1, addToFormer);
    }
    givenBack = false;
}

/// Lets a signal do what it would have done, when this handler has returned.
void end(int signal) {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    ::sigaction(signal, &usual, nullptr);
    ::raise(signal);
}

/// Gives the terminal back and lets the signal end the tool as it would have. Only what may stand in a
/// handler.
void giveBackAndEnd(int signal) {
    if (!givenBack.exchange(true)) {
        pollfd output{former.file, POLLOUT, 0}; // one that was stopped would hold the end up
        const bool takes = ::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT);
        if (takes && ::write(former.file, former.text.data(), former.size) < 0) return end(signal);
        if (former.known) ::tcsetattr(former.file, TCSANOW, &former.settings);
    }
    end(signal);
}

/// Signals whose usual action is to end the process; those that nobody can catch refuse it.
template <class Action>
void eachEndingSignal(Action action) {
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        switch (signal) {
        case SIGCHLD:
        case SIGCONT:
        case SIGURG:
        case SIGWINCH: // ignored
        case SIGTSTP:
        case SIGTTIN:
        case SIGTTOU: // stop
            break;
        default:
            action(signal);
        }
    }
}

/// Ctrl-C, kill and a terminal that goes away end the loop; the others end it on their way.
void catchSignals() {
    eachEndingSignal([](int signal) {
        const bool asks = signal == SIGINT || signal == SIGTERM || signal == SIGHUP;
        struct sigaction present {};
        struct sigaction action {};
        action.sa_handler = asks ? askForEnd : giveBackAndEnd;
        ::sigfillset(&action.sa_mask);
        if (::sigaction(signal, nullptr, &present) != 0) return;
        if (asks || present.sa_handler == SIG_DFL) ::sigaction(signal, &action, nullptr);
    });
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
        rememberTexts();
        catchSignals();
        beforeFaultEnd([] {
            terminal.lock(); // for good: nobody draws any more
            givenBack = true;
            ::endwin();
        });
    }
    CursesScreen(const CursesScreen&) = delete;
    CursesScreen& operator=(const CursesScreen&) = delete;

    ~CursesScreen() override {
        std::lock_guard lock(terminal);
        beforeFaultEnd([] {});
        givenBack = true;
        ::endwin();
        ::delscreen(screen_);
    }

    Look look() override { return {COLS, LINES, unicode_}; }

    void draw(const Picture& picture) override {
        std::lock_guard lock(terminal);
        if (givenBack) return;
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

    std::vector<Key> keys() override {
        pollfd input{::fileno(keys_), POLLIN, 0};
        const int ready = ::poll(&input, 1, kPatience);
        if (endAsked || (ready > 0 && (input.revents & (POLLHUP | POLLERR | POLLNVAL)))) return {Key::end};
        std::lock_guard lock(terminal);
        std::vector<Key> all;
        int read = 0;
        for (int code; read < kMostKeys && (code = ::getch()) != ERR; ++read) // also tells of a new size
            if (const auto key = keyOf(code)) all.push_back(*key);
        // Something to read that is nothing, again and again, is the end of the input.
        nothing_ = ready > 0 && read == 0 ? nothing_ + 1 : 0;
        return nothing_ > 20 ? std::vector{Key::end} : all;
    }

  private:
    static std::optional<Key> keyOf(int code) {
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
            return std::nullopt;
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

void leaveSignalsToScreen() {
    sigset_t others;
    ::sigfillset(&others);
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
        ::sigdelset(&others, own); // come to the thread that raises them
    ::pthread_sigmask(SIG_BLOCK, &others, nullptr);
}

std::unique_ptr<WatchScreen> openWatchScreen() {
    const char* kind = std::getenv("TERM");
    if (!prepareScreen() || !kind || std::string_view(kind) == "dumb") return nullptr;
    // Keys may come from elsewhere than standard input.
    std::FILE* keys = ::isatty(STDIN_FILENO) ? stdin : std::fopen("/dev/tty", "r");
    if (!keys) return nullptr;
    std::setlocale(LC_CTYPE, "");
    rememberSettings(STDOUT_FILENO);
    SCREEN* screen = ::newterm(nullptr, stdout, keys);
    return screen ? std::make_unique<CursesScreen>(screen, keys) : nullptr;
}

} // namespace tool
