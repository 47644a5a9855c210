#include "platform/linux/PolledFolder.h"

#include <unistd.h>

namespace orv::platform {

Result<std::vector<std::string>> PolledFolder::list() {
    // A captured tree may lose the folder and get another one of its name; /sys does not.
    if (!files_.isRunningSystem()) return files_.list(path_);
    // A forked child shares the position of an open folder with its parent, so it opens its own.
    if (opener_ != ::getpid()) folder_.reset();
    if (folder_) {
        ::rewinddir(folder_.get());
    } else {
        auto opened = files_.openFolder(path_);
        if (!opened.ok()) return Result<std::vector<std::string>>::failed(opened.error);
        folder_ = std::move(opened.value);
        opener_ = ::getpid();
    }
    return namesIn(*folder_);
}

} // namespace orv::platform
