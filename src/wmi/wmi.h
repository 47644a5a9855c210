#pragma once

#include "platform/ManagementData.h"

#include <memory>
#include <string_view>
#include <vector>

namespace orv {

class wmiImpl;

/// One query against the management data: construct, query, then any number of get. Made, used and destroyed
/// inside one function, on one thread.
class wmi {
  public:
    /// A connected session, or HWException.
    wmi();
    wmi(wmi&&) noexcept; ///< for who hands a session on; nothing here does
    ~wmi();

    /// True when the query ran; its rows are then stored behind those of an earlier query.
    bool query(std::wstring_view wql);
    /// Why the last query did not run, an HRESULT; kSuccess for one that ran.
    platform::ErrorCode error() const;
    /// One entry a stored row, in row order, an empty one where the row has no such column. Types are for the
    /// caller to check. Throws HWException when no query ran.
    std::vector<platform::ManagementValue> get(std::wstring_view key);

  private:
    wmiImpl& impl() const;

    std::unique_ptr<wmiImpl> pImpl_;
};

} // namespace orv
