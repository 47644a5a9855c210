#pragma once

#include "platform/Result.h"
#include "platform/machine/RequestNames.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

class Node;

/// A planned failure: the nth request of an operation (0: every one) fails with an error code, or raises a
/// hardware fault.
struct Fault {
    std::string operation;
    std::uint64_t nth = 0;
    ErrorCode error = kSuccess;
    std::uint32_t hardwareFault = 0;
};

/// Every request that reaches a described machine passes here: it is counted, written down when a record is
/// kept, and failed when a fault is planned for it.
class Requests {
  public:
    /// "faults": [{"request": NAME, "nth": N, "error": CODE | "hardwareFault": CODE}]
    void load(const Node& root);
    /// Throws std::invalid_argument for a name that no request has.
    void plan(Fault fault);
    void clearFaults() { faults_.clear(); }
    /// The planned failures that no request has met so far.
    std::vector<Fault> unmetFaults() const;

    /// For fault sweeps: the `number`th request from now on fails, whatever it asks for; 0 counts only.
    void failRequest(std::uint64_t number, ErrorCode error) {
        sweepAt_ = number;
        sweepError_ = error;
        sweepCount_ = 0;
    }
    /// For a machine where nothing works.
    void failEveryRequest(ErrorCode error) { everyError_ = error; }
    /// Requests since failRequest.
    std::uint64_t count() const { return sweepCount_; }

    /// Gives the error planned for this request, kSuccess for none; a planned hardware fault is raised.
    ErrorCode enter(RequestName operation) {
        return enter(operation, [] { return std::string(); });
    }
    /// `detail` is called only when a record is kept.
    template <class Detail>
    ErrorCode enter(RequestName operation, Detail&& detail) {
        if (recording_) write(operation, detail());
        if (++sweepCount_ == sweepAt_) return sweepError_;
        if (everyError_ != kSuccess) return everyError_;
        return faults_.empty() ? kSuccess : faultFor(operation);
    }

    /// The record is off at first: it grows with each request.
    void keepRecord(bool on) { recording_ = on; }
    /// Lines "operation" or "operation detail", oldest first.
    const std::vector<std::string>& record() const { return record_; }
    void clearRecord() { record_.clear(); }

  private:
    struct Planned {
        Fault fault;
        bool met = false;
    };
    void write(std::string_view operation, std::string detail);
    ErrorCode faultFor(std::string_view operation);

    std::uint64_t sweepAt_ = 0;
    std::uint64_t sweepCount_ = 0;
    ErrorCode sweepError_ = kSuccess;
    ErrorCode everyError_ = kSuccess;
    bool recording_ = false;
    std::vector<std::string> record_;
    std::vector<Planned> faults_;
    std::map<std::string, std::uint64_t, std::less<>> counts_;
};

} // namespace orv::platform
