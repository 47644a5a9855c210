// Tests of one executable run side by side, each in a process of its own, and leave files in the current
// folder: every process gets a folder to itself.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

class OwnFolder : public ::testing::Environment {
  public:
    void SetUp() override {
        const fs::path parent = fs::current_path();
        // Creating a folder succeeds for one process only, so the first free number is ours.
        for (int number = 0; own_.empty(); ++number) {
            const fs::path folder = parent / ("process-" + std::to_string(number));
            if (fs::create_directory(folder)) own_ = folder;
        }
        fs::current_path(own_);
    }
    void TearDown() override {
        fs::current_path(own_.parent_path());
        std::error_code kept; // a test may have left a file open
        fs::remove_all(own_, kept);
    }

  private:
    fs::path own_;
};

const auto* const ownFolder = ::testing::AddGlobalTestEnvironment(new OwnFolder);

} // namespace
