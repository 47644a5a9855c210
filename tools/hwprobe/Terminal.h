#pragma once

namespace tool {

/// True when standard output is a screen that a person looks at; makes it take UTF-8 and cursor movements.
bool prepareScreen();

} // namespace tool
