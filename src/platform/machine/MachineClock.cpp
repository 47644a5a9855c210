#include "platform/machine/MachineClock.h"

#include "platform/machine/Node.h"

namespace orv::platform {

void MachineClock::load(const Node& root) {
    const auto clock = root.find("clock");
    if (!clock) return;
    step_ = static_cast<std::int64_t>(clock->number("stepNs", 1'000'000));
    if (step_ == 0) clock->fail("stepNs must be above 0, or busy waits would never end");
    clock->done();
}

} // namespace orv::platform
