#pragma once

namespace orv {

/// Which rule gave a record its values, for a person who asks why a reading is what it is. Each is the name
/// of a row of the tables, with static lifetime; null where no rule wrote the value. Collecting costs a
/// pointer store a rule, so the operations take a pointer and nobody who does not ask pays for it.
struct Explanation {
    const char* dialect = nullptr; ///< row of the vendor classification
    const char* temperature = nullptr;
    const char* powerOnHours = nullptr;
    const char* powerOnCount = nullptr;
    const char* life = nullptr;
    const char* health = nullptr;
};

} // namespace orv
