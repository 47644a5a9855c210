#pragma once

#include "platform/servers/ManagementRows.h"

namespace orv::platform {

class Node;

/// A row of the management data: {"column": value}. A text is a bstr, a whole number an i4 and null a column
/// without a value; an object gives bytes or any other type tag.
ManagementColumns readColumns(const Node& row);

} // namespace orv::platform
