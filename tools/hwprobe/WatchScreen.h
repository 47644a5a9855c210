#pragma once

#include "WatchPicture.h"

#include <memory>

namespace tool {

enum class Key { end, resize, up, down, pageUp, pageDown, top };

/// What a person looks at. One thread uses it.
class WatchScreen {
  public:
    virtual ~WatchScreen() = default;
    virtual Look look() = 0;
    virtual void draw(const Picture& picture) = 0;
    /// Waits for keys, but not for long, and gives all that are there. `end` also when the terminal is gone
    /// or a signal asks for the end.
    virtual std::vector<Key> keys() = 0;
};

/// To be called first in every other thread: a signal that ends the tool comes to the one that draws, so that
/// nothing is drawn on a terminal that has been given back.
void leaveSignalsToScreen();

/// Null where standard output is no terminal, or one that has no cursor to move.
std::unique_ptr<WatchScreen> openWatchScreen();

} // namespace tool
