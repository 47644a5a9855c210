#pragma once

#include "platform/linux/LinuxPlatform.h"
#include "support/Paths.h"
#include "support/TestMachine.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace orv::test {

/// A tree of files below a temporary root.
class Tree {
  public:
    Tree() { std::filesystem::remove_all(root_); }
    ~Tree() { std::filesystem::remove_all(root_); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    /// Adds what tests/captured/NAME holds: lines "PATH: CONTENT" and "PATH -> TARGET", # for remarks.
    void capture(const std::string& name) const {
        std::ifstream text(sourceDir() + "/tests/captured/" + name);
        for (std::string line; std::getline(text, line);) {
            const auto arrow = line.find(" -> ");
            const auto colon = line.find(": ");
            if (line.empty() || line.front() == '#') continue;
            if (arrow != line.npos)
                link(line.substr(0, arrow), line.substr(arrow + 4));
            else
                file(line.substr(0, colon), line.substr(colon + 2) + "\n");
        }
    }
    void file(const std::string& path, const std::string& content) const {
        std::filesystem::create_directories((root_ / path).parent_path());
        std::ofstream(root_ / path) << content;
    }
    void link(const std::string& path, const std::string& target) const {
        std::filesystem::create_directories((root_ / path).parent_path());
        std::filesystem::create_symlink(target, root_ / path);
    }
    std::string content(const std::string& path) const {
        std::ifstream file(root_ / path);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void remove(const std::string& path) const { std::filesystem::remove_all(root_ / path); }
    std::string root() const { return std::filesystem::absolute(root_).string(); }

  private:
    std::filesystem::path root_ = "captured-tree-" + std::to_string(::getpid());
};

/// A tree in use as the running system, whose files may come later.
class TreeInUse : public Tree {
  public:
    explicit TreeInUse(std::initializer_list<const char*> captured = {}) {
        for (const char* name : captured)
            capture(name);
    }

  private:
    platform::LinuxPlatform system_{root()};
    InUse inUse_{system_};
};

} // namespace orv::test
