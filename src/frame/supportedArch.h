#pragma once

namespace orv::frame {

/// True on an x86 machine. Otherwise `lastError` says why, and the export gives its failure value at once.
bool isSupportedArch();

} // namespace orv::frame
