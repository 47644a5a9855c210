#pragma once

namespace tool {

/// True when standard output is a screen that a person looks at; makes it take UTF-8 and cursor movements.
bool prepareScreen();

/// Whether standard error goes to a person's screen.
bool errorsOnScreen();

/// From now on a file that has reached the process's limit is one that cannot be written, not the end of the
/// tool.
void makeLimitAnError();

/// Of the screen behind standard output; 80 by 24 where it does not tell.
struct ScreenSize {
    int columns = 80;
    int rows = 24;
};
ScreenSize screenSize();

} // namespace tool
