#include "json/value.h"

namespace orv::json {

json_type_error::json_type_error(const std::string& message)
    : json_exception("value type error: " + message) {}

json_invalid_key::json_invalid_key(const std::string& message)
    : json_exception("invalid value key error: " + message) {}

json_serialization_error::json_serialization_error(const std::string& message)
    : json_exception("value serialization error: " + message) {}

} // namespace orv::json
