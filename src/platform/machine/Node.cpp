#include "platform/machine/Node.h"

#include <nlohmann/json.hpp>

#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

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

} // namespace

Node::Node(std::shared_ptr<const Document> document, const void* value, std::string place)
    : document_(std::move(document)), value_(value), place_(std::move(place)),
      asked_(std::make_shared<std::set<std::string, std::less<>>>()) {}

Node Node::parseFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw MachineFileError(path + ": cannot be opened; give the path of a machine file");
    std::ostringstream content;
    content << file.rdbuf();
    Node node = parseText(content.str(), path);
    auto document = std::make_shared<Document>(*node.document_);
    document->folder = std::filesystem::path(path).parent_path().string();
    const void* root = &document->root;
    return Node(std::move(document), root, "");
}

Node Node::parseText(std::string_view text, const std::string& name) {
    auto document = std::make_shared<Document>();
    document->name = name;
    try {
        document->root = Json::parse(text, nullptr, true, true); // comments are allowed
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

std::string Node::folder() const {
    return document_->folder;
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

double Node::real(std::string_view key, double fallback) const {
    if (!has(key)) return fallback;
    const Node node = required(key);
    if (!json(node.value_).is_number()) node.fail("must be a number");
    return json(node.value_).get<double>();
}

bool Node::flag(std::string_view key, bool fallback) const {
    if (!has(key)) return fallback;
    const Node node = required(key);
    if (!json(node.value_).is_boolean()) node.fail("must be true or false");
    return json(node.value_).get<bool>();
}

std::vector<std::uint8_t> Node::bytes(std::string_view key) const {
    const Node node = required(key);
    std::string digits;
    for (const char letter : node.asText()) {
        if (std::isspace(static_cast<unsigned char>(letter))) continue;
        if (!std::isxdigit(static_cast<unsigned char>(letter))) node.fail("must be hexadecimal bytes");
        digits.push_back(letter);
    }
    if (digits.size() % 2 != 0) node.fail("must be whole bytes of two hexadecimal digits");
    std::vector<std::uint8_t> bytes(digits.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        std::from_chars(&digits[2 * i], &digits[2 * i] + 2, bytes[i], 16);
    return bytes;
}

std::vector<std::uint8_t> Node::fileBytes(std::string_view key) const {
    const Node node = required(key);
    const std::filesystem::path path = std::filesystem::path(folder()) / node.asText();
    std::ifstream file(path, std::ios::binary);
    if (!file) node.fail("the file " + path.string() + " cannot be opened");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Node::done() const {
    for (const auto& [key, value] : json(value_).items())
        if (!asked_->contains(key)) fail("unknown key \"" + key + "\"");
}

} // namespace orv::platform
