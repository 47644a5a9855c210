#pragma once

#include <string>

namespace orv::test {

/// The checkout that the tests were built from. A function, so that one object alone depends on the folder
/// and the others can come from another checkout's compiler cache.
std::string sourceDir();

} // namespace orv::test
