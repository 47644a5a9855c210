#pragma once

#include "platform/linux/RootedFiles.h"
#include "platform/servers/AdlServer.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// ADL from the files of the amdgpu driver: a card is an adapter of Overdrive generation 5, whose temperature
/// has thousandths of a degree. What a card has no file for, its function refuses.
class AmdGpuServer : public AdlServer {
  public:
    explicit AmdGpuServer(const RootedFiles& files) : files_(files) {}

    /// Looks for the cards anew; false when the driver has none.
    bool findCards();

    adl::Status numberOfAdapters(int& count) override;
    adl::Status adapterInfo(adl::AdapterInfo* records, std::size_t room) override;
    adl::Status overdriveCaps(int adapter, int& supported, int& enabled, int& version) override;
    adl::Status od5Temperature(int adapter, adl::Od5Temperature& record) override;
    adl::Status od5Activity(int adapter, adl::Od5Activity& record) override;
    adl::Status memorySize(int adapter, std::int64_t& bytes) override;

  private:
    struct Card {
        std::string device; ///< Folder of the PCI device.
        std::string temperatureFile;
        std::string name;
        int bus = 0;
        int deviceNumber = 0;
        int function = 0;
    };
    std::optional<Card> cardAt(const std::string& device) const;
    std::string nameOf(const std::string& device) const;
    std::string temperatureFileOf(const std::string& device) const;
    const Card* find(int adapter) const;
    template <class Number>
    adl::Status readNumber(const std::string& path, Number& value) const;

    const RootedFiles& files_;
    std::vector<Card> cards_;
};

} // namespace orv::platform
