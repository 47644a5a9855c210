#include "platform/machine/Node.h"

#include <nlohmann/json.hpp>

#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>

namespace orv::platform {

using Json = nlohmann::ordered_json;

struct Node::Document {
    std::string name;
    std::string folder;
    Json root;
};

namespace {

const Json& json(const void* value) {
    return *static_cast<const Json*>(value);
}

bool parseUnsigned(std::string_view text, std::uint64_t& value) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

/// Reads a regular file whole: anything else may have no end, or wait for ever. Gives the reason, empty for
/// none.
std::string readFile(const std::filesystem::path& path, std::vector<std::uint8_t>& content) {
    constexpr std::size_t largest = 16 << 20;
    const std::string name = "\"" + path.string() + "\"";
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        return name + " is not a regular file";
    std::ifstream file(path, std::ios::binary);
    if (!file) return name + " cannot be opened";
    char part[1 << 16];
    do {
        file.read(part, sizeof part);
        content.insert(content.end(), part, part + file.gcount());
        if (content.size() > largest) return name + " is larger than 16 MiB";
    } while (file);
    return file.bad() ? name + " cannot be read" : std::string();
}

/// Looks at a text while it is parsed, for what the JSON value can no longer tell, or must not come to.
class Form {
  public:
    explicit Form(const std::string& file) : file_(file) {}

    void take(Json::parse_event_t event, const Json& value) {
        using Event = Json::parse_event_t;
        if (event == Event::object_start || event == Event::array_start) {
            constexpr std::size_t deepest = 64;
            if (open_.size() == deepest)
                throw MachineFileError(file_ + ": nested deeper than " + std::to_string(deepest));
            open_.emplace_back();
        } else if (event == Event::object_end || event == Event::array_end) {
            open_.pop_back();
        } else if (event == Event::key) {
            const auto& key = value.get_ref<const std::string&>();
            if (!open_.back().insert(key).second)
                throw MachineFileError(file_ + ": the key \"" + key + "\" stands twice in one object");
        }
    }

  private:
    const std::string& file_;
    std::vector<std::set<std::string>> open_; // the keys of each object around the place; none of an array
};

} // namespace

Node::Node(std::shared_ptr<const Document> document, const void* value, std::string place)
    : document_(std::move(document)), value_(value), place_(std::move(place)),
      asked_(std::make_shared<std::set<std::string, std::less<>>>()) {}

Node Node::parseFile(const std::string& path) {
    std::vector<std::uint8_t> content;
    if (const std::string problem = readFile(path, content); !problem.empty())
        throw MachineFileError(problem + "; give the path of a machine file");
    const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
    return parse(text, path, std::filesystem::path(path).parent_path().string());
}

Node Node::parseText(std::string_view text, const std::string& name) {
    return parse(text, name, "");
}

Node Node::parse(std::string_view text, const std::string& name, const std::string& folder) {
    auto document = std::make_shared<Document>(Document{name, folder, {}});
    Form form(name);
    const auto check = [&](int, Json::parse_event_t event, const Json& value) {
        form.take(event, value);
        return true;
    };
    try {
        document->root = Json::parse(text, check, true, true); // comments are allowed
    } catch (const Json::exception& failure) {
        throw MachineFileError(name + ": not JSON: " + failure.what());
    }
    if (!document->root.is_object()) throw MachineFileError(name + ": the file must hold one object");
    const void* root = &document->root;
    return Node(std::move(document), root, "");
}

void Node::fail(const std::string& reason) const {
    throw MachineFileError(document_->name + ": " + (place_.empty() ? "" : place_ + ": ") + reason);
}

Node Node::child(std::string_view key) const {
    asked_->insert(std::string(key));
    const Json& object = json(value_);
    const auto found = object.find(key);
    const std::string place = place_.empty() ? std::string(key) : place_ + "." + std::string(key);
    return Node(document_, found == object.end() ? nullptr : &*found, place);
}

Node Node::required(std::string_view key) const {
    Node node = child(key);
    if (!node.value_) fail("the key \"" + std::string(key) + "\" is missing");
    return node;
}

bool Node::has(std::string_view key) const {
    return child(key).value_ != nullptr;
}

Node Node::object(std::string_view key) const {
    Node node = required(key);
    if (!json(node.value_).is_object()) node.fail("must be an object");
    return node;
}

std::optional<Node> Node::find(std::string_view key) const {
    if (!has(key)) return std::nullopt;
    return object(key);
}

std::vector<Node> Node::list(std::string_view key) const {
    const Node array = child(key);
    std::vector<Node> entries;
    if (!array.value_) return entries;
    if (!json(array.value_).is_array()) array.fail("must be an array");
    for (const Json& entry : json(array.value_))
        entries.push_back(Node(document_, &entry, array.place_ + "[" + std::to_string(entries.size()) + "]"));
    return entries;
}

std::vector<std::string> Node::keys() const {
    std::vector<std::string> names;
    for (const auto& [key, value] : json(value_).items()) {
        names.push_back(key);
        asked_->insert(key);
    }
    return names;
}

std::string Node::asText() const {
    if (!isText()) fail("must be a text");
    return json(value_).get<std::string>();
}

std::uint64_t Node::asNumber(std::uint64_t largest) const {
    std::uint64_t number = 0;
    const Json& value = json(value_);
    if (value.is_number_unsigned())
        number = value.get<std::uint64_t>();
    else if (!value.is_string() || !parseUnsigned(value.get_ref<const std::string&>(), number))
        fail("must be a whole number from 0 up, or text like \"0x1F\"");
    if (number > largest) fail("is above " + std::to_string(largest));
    return number;
}

bool Node::isText() const {
    return json(value_).is_string();
}
bool Node::isObject() const {
    return json(value_).is_object();
}
bool Node::isNull() const {
    return json(value_).is_null();
}

std::string Node::text(std::string_view key) const {
    return required(key).asText();
}

std::string Node::text(std::string_view key, std::string_view fallback) const {
    return has(key) ? text(key) : std::string(fallback);
}

std::uint64_t Node::number(std::string_view key, std::uint64_t largest) const {
    return required(key).asNumber(largest);
}

std::uint64_t Node::number(std::string_view key, std::uint64_t largest, std::uint64_t fallback) const {
    return has(key) ? number(key, largest) : fallback;
}

std::int64_t Node::signedNumber(std::string_view key, std::int64_t smallest, std::int64_t largest) const {
    const Node node = required(key);
    const Json& value = json(node.value_);
    std::int64_t number = 0;
    if (value.is_number_integer() && !value.is_number_unsigned())
        number = value.get<std::int64_t>();
    else
        number = static_cast<std::int64_t>(node.asNumber(std::numeric_limits<std::int64_t>::max()));
    if (number < smallest || number > largest)
        node.fail("is outside " + std::to_string(smallest) + " to " + std::to_string(largest));
    return number;
}

bool Node::flag(std::string_view key, bool fallback) const {
    if (!has(key)) return fallback;
    const Node node = required(key);
    if (!json(node.value_).is_boolean()) node.fail("must be true or false");
    return json(node.value_).get<bool>();
}

std::vector<std::uint8_t> Node::bytes(std::string_view key) const {
    return required(key).asBytes();
}

std::vector<std::uint8_t> Node::asBytes() const {
    std::string digits;
    for (const char letter : asText()) {
        if (std::isspace(static_cast<unsigned char>(letter))) continue;
        if (!std::isxdigit(static_cast<unsigned char>(letter))) fail("must be hexadecimal bytes");
        digits.push_back(letter);
    }
    if (digits.size() % 2 != 0) fail("must be whole bytes of two hexadecimal digits");
    std::vector<std::uint8_t> bytes(digits.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        std::from_chars(&digits[2 * i], &digits[2 * i] + 2, bytes[i], 16);
    return bytes;
}

std::vector<std::uint8_t> Node::fileBytes(std::string_view key) const {
    const Node node = required(key);
    std::vector<std::uint8_t> bytes;
    const std::string problem = readFile(std::filesystem::path(document_->folder) / node.asText(), bytes);
    if (!problem.empty()) node.fail(problem);
    return bytes;
}

void Node::done() const {
    for (const auto& [key, value] : json(value_).items())
        if (!asked_->contains(key)) fail("unknown key \"" + key + "\"");
}

} // namespace orv::platform
