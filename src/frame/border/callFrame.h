#pragma once

#include "frame/lastError.h"
#include "json/value.h"

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
    std::string success;
    std::string failure;
};

/// One call of an export: whatever derives from the standard exception stops here and becomes `lastError`
/// and the failure value.
template <class Value, class Body>
Value guarded(Value failureValue, Body&& body) {
    try {
        return body();
    } catch (const std::exception& failure) {
        setLastError(failure.what());
        return failureValue;
    }
}

/// As above for a text export: `body` gives the text, `failureForm` turns the reason into the failure text.
template <class Body>
const char* guardedText(TextResult& result, Body&& body, std::string (*failureForm)(const char*)) {
    try {
        result.success = body();
        return result.success.c_str();
    } catch (const std::exception& failure) {
        setLastError(failure.what());
        result.failure = failureForm(failure.what());
        return result.failure.c_str();
    }
}

/// {"error":REASON}
inline std::string errorObject(const char* reason) {
    json::value object;
    object["error"] = std::string(reason);
    return json::dump(object);
}

/// {"code":0,"data":REASON}
inline std::string codeObject(const char* reason) {
    json::value object;
    object["code"] = 0;
    object["data"] = std::string(reason);
    return json::dump(object);
}

/// {"error": "REASON"}, the reason unescaped, cut to a buffer of `Size` bytes with its NUL.
template <std::size_t Size>
std::string boundedErrorText(const char* reason) {
    char buffer[Size];
    std::snprintf(buffer, Size, "{\"error\": \"%s\"}", reason);
    return buffer;
}

/// The list entry that an export's index names.
template <class Entry>
Entry& at(std::vector<Entry>& list, std::uint32_t index) {
    if (index >= list.size()) throw std::out_of_range("invalid vector subscript");
    return list[index];
}

} // namespace orv::frame
