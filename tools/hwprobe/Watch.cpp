#include "Commands.h"
#include "Output.h"
#include "Terminal.h"
#include "WatchLines.h"
#include "WatchScreen.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kNsPerMillisecond = 1'000'000;
constexpr std::int64_t kFirstGap = 1000; // milliseconds; on a screen nobody waits longer for a first load
constexpr auto kPatience = 1s;           // for a call that is under way at the end

/// How long it is to the next multiple of the interval. One that is nearer than a quarter is passed over, so
/// that rates have something to count.
std::int64_t toNextMultiple(std::int64_t now, std::int64_t interval) {
    const std::int64_t wait = interval - now % interval;
    return wait < interval / 4 ? wait + interval : wait;
}

/// Samples on multiples of the interval, on whatever clock they go by.
class Watcher {
  public:
    using Show = std::function<void(const Sample&, bool whole)>;

    Watcher(const WatchOptions& options, Show show)
        : options_(options), sampler_(options.described), show_(std::move(show)) {}

    /// Until all samples are taken or stop is called. `firstGap`: at most so long to the first one that is
    /// whole.
    void run(std::int64_t firstGap) {
        sample(false);
        for (std::uint64_t shown = 0; !stop_ && (options_.count == 0 || shown < options_.count); ++shown) {
            const std::int64_t interval =
                shown == 0 ? std::min(options_.interval, firstGap) : options_.interval;
            wait(toNextMultiple(watchClockNs(options_.described), interval * kNsPerMillisecond));
            if (!stop_) sample(true);
        }
    }

    void stop() {
        std::lock_guard lock(mutex_);
        stop_ = true;
        changed_.notify_all();
    }

  private:
    void sample(bool whole) {
        const Sample& taken = sampler_.take(stop_, [&](const Sample& sample) {
            if (!whole) show_(sample, false);
        });
        if (whole && !stop_) show_(taken, true);
    }

    void wait(std::int64_t nanoseconds) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::nanoseconds(nanoseconds), [&] { return stop_.load(); });
        if (options_.described && !stop_) orv::platform::current().clock().sleepNs(nanoseconds);
    }

    const WatchOptions options_;
    Sampler sampler_;
    const Show show_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> stop_ = false;
};

int watchLines(const WatchOptions& options) {
    WatchLines lines;
    Watcher watcher(options, [&](const Sample& sample, bool whole) {
        if (whole) put(options.json ? jsonLine(sample) : lines.of(sample));
    });
    watcher.run(options.interval);
    return kExitOk;
}

/// What the thread that samples hands to the one that draws.
struct Feed {
    std::mutex mutex;
    std::condition_variable ended;
    Sample sample;
    History history;
    bool fresh = false;
    bool done = false;
};

void scrollBy(Scroll& scroll, Key key, int page) {
    const int lines = key == Key::up         ? -1
                      : key == Key::down     ? 1
                      : key == Key::pageUp   ? -page
                      : key == Key::pageDown ? page
                      : key == Key::top      ? -scroll.from
                                             : 0;
    scroll.from = std::clamp(scroll.from + lines, 0, scroll.most);
}

/// Draws until the end is asked for, or nothing more comes.
void drawFrom(Feed& feed, WatchScreen& screen, const Heading& heading) {
    Scroll scroll;
    for (std::vector<Key> keys = {Key::resize};; keys = screen.keys()) {
        if (std::ranges::find(keys, Key::end) != keys.end()) return;
        const Look look = screen.look();
        for (const Key key : keys)
            scrollBy(scroll, key, look.rows - 2);
        Picture picture;
        {
            std::lock_guard lock(feed.mutex);
            if (feed.done) return;
            if (!feed.fresh && keys.empty()) continue;
            feed.fresh = false;
            picture = pictureOf(heading, feed.sample, feed.history, look, scroll);
        }
        screen.draw(picture);
    }
}

int watchScreen(const std::string& title, const WatchOptions& options, std::unique_ptr<WatchScreen> screen) {
    Feed feed;
    Watcher watcher(options, [&](const Sample& sample, bool whole) {
        std::lock_guard lock(feed.mutex);
        feed.sample = sample;
        feed.fresh = true;
        if (whole) feed.history.add(sample);
    });
    std::thread sampling([&] {
        leaveSignalsToScreen();
        watcher.run(kFirstGap);
        std::lock_guard lock(feed.mutex);
        feed.done = true;
        feed.ended.notify_all();
    });
    try {
        drawFrom(feed, *screen, {title, options.interval});
    } catch (const OutputError&) {
        watcher.stop();
        sampling.join();
        throw;
    }
    screen.reset(); // whoever ends it has the terminal back at once
    watcher.stop();
    std::unique_lock lock(feed.mutex);
    if (!feed.ended.wait_for(lock, kPatience, [&] { return feed.done; }))
        std::_Exit(kExitOk); // a drive that does not answer holds the call, and nothing is left to do
    lock.unlock();
    sampling.join();
    return kExitOk;
}

} // namespace

int watch(const std::string& title, const WatchOptions& options) {
    if (options.json || (options.chatty && errorsOnScreen())) return watchLines(options);
    auto screen = openWatchScreen();
    return screen ? watchScreen(title, options, std::move(screen)) : watchLines(options);
}

} // namespace tool
