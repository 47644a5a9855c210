#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

class regeditImpl;

/// One open registry key below HKEY_LOCAL_MACHINE, read only. Registry errors are logged and give false.
class regedit {
  public:
    regedit();
    ~regedit();
    // A key may be handed on, though nothing here does.
    regedit(regedit&&) noexcept;
    regedit& operator=(regedit&&) noexcept;

    /// Moves this object to another key. Throws HWException when the process does not get the three
    /// privileges that go with it.
    bool open(std::wstring_view path, std::uint32_t access);
    /// Appends the names of the subkeys.
    bool enumKey(std::vector<std::wstring>& names);
    /// The raw value and its type.
    bool queryValue(std::wstring_view name, std::vector<std::byte>& data, std::uint32_t* type);

  private:
    regeditImpl& impl() const;
    std::unique_ptr<regeditImpl> impl_; // null after a move
};

} // namespace orv
