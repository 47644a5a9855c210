#pragma once

#include "WatchSample.h"

namespace tool {

/// A line a sample, its values below the names that a line beginning with '#' gives. The names come again
/// when they change, for batteries and adapters come and go.
class WatchLines {
  public:
    std::string of(const Sample& sample);

  private:
    std::string heading_;
};

/// A sample as one JSON object on a line; null for what is not known, and "failures" with what is known of
/// why.
std::string jsonLine(const Sample& sample);

} // namespace tool
