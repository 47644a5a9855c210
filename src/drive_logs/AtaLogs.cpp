#include "drive_logs/AtaLogs.h"

namespace orv {

struct AtaLogReader::Drives {
    AtaLogs none;
};

AtaLogReader::AtaLogReader() : drives_(std::make_unique<Drives>()) {}
AtaLogReader::~AtaLogReader() = default;

const AtaLogs& AtaLogReader::read(CAtaSmart&, const AtaSmartInfo&, std::int64_t) {
    return drives_->none;
}

} // namespace orv
