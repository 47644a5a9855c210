#include "platform/Platform.h"

namespace orv::platform {

namespace {
Platform* inUse = nullptr;
} // namespace

Platform& current() {
    return *inUse;
}

void use(Platform& next) {
    inUse = &next;
}

} // namespace orv::platform
