#pragma once

#include "frame/border/TextResults.h"
#include "json/value.h"
#include "platform/Cancellation.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace orv::frame {

/// How a text export tells a failure: the text of a reason, and the text for when memory has run out, which
/// has to fit into the room that is set aside.
struct FailureForm {
    std::string (*of)(const char* reason);
    const char* withoutMemory;
};

template <class Body>
[[gnu::noinline]] auto insideCall(Body& body) {
    return body();
}

/// The outermost step of each export: its thread is not cancelled in it. Nothing here has to be destroyed,
/// nor may anything be put in line that has: a thread that is cancelled at any instruction on its way in or
/// out is unwound through this frame.
template <class Body>
auto entered(Body&& body) {
    const platform::Cancellation former = platform::holdCancellation();
    const auto answer = insideCall(body);
    platform::restoreCancellation(former);
    return answer;
}

/// One call of an export: whatever derives from the standard exception stops here and becomes `lastError`
/// and the failure value. Telling the failure allocates nothing that it could not do without.
template <class Value, class Body>
Value guarded(Value failureValue, Body&& body) {
    return entered([&]() -> Value {
        makeRoomForExceptions();
        try {
            return body();
        } catch (const std::exception& failure) {
            setLastError(failure.what());
            return failureValue;
        }
    });
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

/// As above for a text export: `body` gives the text, which the export's place among the results keeps.
template <class Body>
const char* guardedText(TextResult TextResults::*place, Body&& body, const FailureForm& form) {
    return entered([&] {
        makeRoomForExceptions();
        TextResult& result = processWide<TextResults>().*place;
        try {
            result.success = body();
            return result.success.c_str();
        } catch (const std::exception& failure) {
            return tellFailure(result, form, failure.what());
        }
    });
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
