#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// A machine file that cannot be used. The text names the file, the place and the reason.
class MachineFileError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A place in a machine file: an object, an array entry or a value. Every getter checks kind and range and
/// throws MachineFileError; what no getter asked for is an unknown key, which done() reports.
/// Numbers may be written as JSON numbers or as text like "0x1F".
class Node {
  public:
    static Node parseFile(const std::string& path);
    /// `name` stands for the file in messages.
    static Node parseText(std::string_view text, const std::string& name);

    bool has(std::string_view key) const;

    /// An object or array that has to be there, or may be missing.
    Node object(std::string_view key) const;
    std::optional<Node> find(std::string_view key) const;
    /// The entries of an array; none when the key is missing.
    std::vector<Node> list(std::string_view key) const;
    /// Any value that has to be there.
    Node at(std::string_view key) const { return required(key); }
    /// The keys of this object, for maps whose keys are data; each key counts as asked for.
    std::vector<std::string> keys() const;

    std::string text(std::string_view key) const;
    std::string text(std::string_view key, std::string_view fallback) const;
    std::uint64_t number(std::string_view key, std::uint64_t largest) const;
    std::uint64_t number(std::string_view key, std::uint64_t largest, std::uint64_t fallback) const;
    std::int64_t signedNumber(std::string_view key, std::int64_t smallest, std::int64_t largest) const;
    bool flag(std::string_view key, bool fallback) const;
    /// Bytes from hexadecimal text, blanks allowed between bytes: "00 1A ff".
    std::vector<std::uint8_t> bytes(std::string_view key) const;
    /// Content of the file that the text names, relative to the machine file's folder.
    std::vector<std::uint8_t> fileBytes(std::string_view key) const;

    /// This place itself as a value, for arrays of plain values.
    std::string asText() const;
    std::vector<std::uint8_t> asBytes() const;
    std::uint64_t asNumber(std::uint64_t largest) const;
    bool isText() const;
    bool isObject() const;
    bool isNull() const;

    /// Throws when this object has a key that nobody asked for.
    void done() const;
    /// Throws with this place and a reason.
    [[noreturn]] void fail(const std::string& reason) const;

  private:
    struct Document;
    static Node parse(std::string_view text, const std::string& name, const std::string& folder);
    Node(std::shared_ptr<const Document> document, const void* value, std::string place);
    Node child(std::string_view key) const;
    Node required(std::string_view key) const;

    std::shared_ptr<const Document> document_;
    const void* value_; // nlohmann::json, kept out of this header
    std::string place_; // like "network.adapters[1]"
    std::shared_ptr<std::set<std::string, std::less<>>> asked_;
};

} // namespace orv::platform
