#pragma once

#include "log/backtrack_sink.h"
#include "state/HeldMutex.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <utility>

namespace orv::log {

/// The lock that the sinks on standard output and standard error share, as the system's terminal is one.
struct ConsoleLock {
    using mutex_t = HeldMutex;
    static mutex_t& mutex() { return shared; }
    static inline constinit HeldMutex shared;
};

/// The same sink with another lock: the colour sink's template has a name of its own on each system.
template <template <class> class Sink, class Lock>
Sink<ConsoleLock> withConsoleLock(const Sink<Lock>&);

using StdoutSink = decltype(withConsoleLock(std::declval<spdlog::sinks::stdout_color_sink_mt>()));
using StderrSink = decltype(withConsoleLock(std::declval<spdlog::sinks::stderr_color_sink_mt>()));
using FileSink = spdlog::sinks::basic_file_sink<HeldMutex>;
using RingSink = backtrack_sink<HeldMutex>;

} // namespace orv::log
