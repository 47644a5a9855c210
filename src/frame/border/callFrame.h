#pragma once

#include "frame/lastError.h"
#include "json/value.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace orv::frame {

/// The two buffers of a text export: a pointer to one stays valid while the other is written.
struct TextResult {
    TextResult() { failure.reserve(kFailureRoom); }

    std::string success;
    std::string failure;
};

/// How a text export tells a failure: the text of a reason, and the text for when memory has run out, which
/// has to fit into the room that is set aside.
struct FailureForm {
    std::string (*of)(const char* reason);
    const char* withoutMemory;
};

/// The C++ run-time library's own record of this thread's exceptions. In a host written in C the system makes
/// it when first asked for, and ends the process when it has no memory: so it is asked for by each call, not
/// by the first failure.
inline void makeRoomForExceptions() noexcept {
    // What looks into it; the value is kept so that the call is.
    [[maybe_unused]] volatile const int found = std::uncaught_exceptions();
}

/// One call of an export: whatever derives from the standard exception stops here and becomes `lastError`
/// and the failure value. Telling the failure allocates nothing that it could not do without.
template <class Value, class Body>
Value guarded(Value failureValue, Body&& body) {
    makeRoomForExceptions();
    try {
        return body();
    } catch (const std::exception& failure) {
        setLastError(failure.what());
        return failureValue;
    }
}

/// As above for a reading, which is a number in any case.
template <class Body>
double guardedReading(Body&& body) {
    return guarded(-1.0, [&] {
        const double reading = body();
        if (!std::isfinite(reading)) throw std::domain_error("the reading is not a finite number");
        return reading;
    });
}

/// The failure text of an export.
inline const char* tellFailure(TextResult& result, const FailureForm& form, const char* reason) noexcept {
    setLastError(reason);
    try {
        result.failure.assign(form.of(reason));
    } catch (const std::exception&) {
        result.failure.assign(form.withoutMemory);
    }
    return result.failure.c_str();
}

/// As above for a text export: `body` gives the text.
template <class Body>
const char* guardedText(TextResult& result, Body&& body, const FailureForm& form) {
    makeRoomForExceptions();
    try {
        result.success = body();
        return result.success.c_str();
    } catch (const std::exception& failure) {
        return tellFailure(result, form, failure.what());
    }
}

/// {"error":REASON}
inline constexpr FailureForm kErrorObject = {[](const char* reason) {
                                                 json::value object;
                                                 object["error"] = std::string(reason);
                                                 return json::dump(object);
                                             },
                                             R"({"error":"std::bad_alloc"})"};

/// {"code":0,"data":REASON}
inline constexpr FailureForm kCodeObject = {[](const char* reason) {
                                                json::value object;
                                                object["code"] = 0;
                                                object["data"] = std::string(reason);
                                                return json::dump(object);
                                            },
                                            R"({"code":0,"data":"std::bad_alloc"})"};

/// {"error": "REASON"}, the reason unescaped, cut to a buffer of `Size` bytes with its NUL.
template <std::size_t Size>
inline constexpr FailureForm kBoundedError = {[](const char* reason) {
                                                  char buffer[Size];
                                                  std::snprintf(buffer, Size, "{\"error\": \"%s\"}", reason);
                                                  return std::string(buffer);
                                              },
                                              R"({"error": "std::bad_alloc"})"};

/// The list entry that an export's index names.
template <class Entry>
Entry& at(std::vector<Entry>& list, std::uint32_t index) {
    if (index >= list.size()) throw std::out_of_range("invalid vector subscript");
    return list[index];
}

} // namespace orv::frame
