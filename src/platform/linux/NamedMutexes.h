#pragma once

#include "platform/NamedMutexes.h"
#include "platform/linux/files/RootedFiles.h"
#include "state/HeldMutex.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace orv::platform {

/// A lock file per name, in the system's folder for locks that everybody may write. The kernel drops the
/// lock of a process that ends; a mark in the file tells the next owner that its holder did not release it.
class LinuxNamedMutexes : public NamedMutexes {
  public:
    explicit LinuxNamedMutexes(const RootedFiles& files);
    ~LinuxNamedMutexes() override;

    Result<MutexHandle> CreateMutexW(std::wstring_view name) override;
    /// Every lock file is everybody's.
    Result<MutexHandle> CreateMutexForEveryone(std::wstring_view name) override { return CreateMutexW(name); }
    Result<MutexHandle> OpenMutexW(std::uint32_t access, std::wstring_view name) override;
    std::uint32_t WaitForSingleObject(MutexHandle mutex, std::uint32_t milliseconds) override;
    ErrorCode ReleaseMutex(MutexHandle mutex) override;
    void CloseHandle(MutexHandle mutex) override;

  private:
    class LockFile;
    Result<MutexHandle> open(std::wstring_view name, bool create);
    std::string folder() const;
    std::shared_ptr<LockFile> find(MutexHandle mutex);

    const RootedFiles& files_;
    HeldMutex guard_;
    std::map<std::string, std::weak_ptr<LockFile>> byPath_; // two handles of a name are one mutex
    std::map<MutexHandle, std::shared_ptr<LockFile>> handles_;
    MutexHandle next_ = 1;
};

} // namespace orv::platform
