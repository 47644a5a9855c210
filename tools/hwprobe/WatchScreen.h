#pragma once

#include "WatchPicture.h"

#include <memory>

namespace tool {

enum class Key { none, end, resize, up, down, pageUp, pageDown, top };

/// What a person looks at. One thread uses it.
class WatchScreen {
  public:
    virtual ~WatchScreen() = default;
    virtual Look look() = 0;
    virtual void draw(const Picture& picture) = 0;
    /// Waits for a key, but not for long. `end` also when the terminal is gone or a signal asks for the end.
    virtual Key key() = 0;
};

/// Null where standard output is no terminal, or one that has no cursor to move.
std::unique_ptr<WatchScreen> openWatchScreen();

} // namespace tool
