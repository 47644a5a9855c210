#pragma once

#include "SMBUS/SMBUS.h"
#include "memory/SPDDecoders.h"

#include <vector>

namespace orv::memory {

/// The process's SMBus controller, found on first use; throws what its search throws and searches again on
/// the next call. The layout of the EEPROMs is settled before, once, by the first module's memory type.
SMBus& getSmbus();

/// The whole EEPROM of each module that answers, by ascending address: 512 bytes in the DDR4 layout, 1024 in
/// the DDR5 layout. A byte that cannot be read is 0xFF. Each transaction gives up after 500 looks at the
/// status, at least 1 us apart, with an error line: a controller that turns busy once a module answered the
/// probe is seen as a blob of 0xFF, one error line for each byte, page and further probe (521 for the first
/// of DDR4), and seconds spent on a board. For one caller at a time: nothing keeps others from selecting
/// another page.
std::vector<Spd> readSPD();

} // namespace orv::memory
