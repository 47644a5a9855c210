#pragma once

#include "platform/linux/files/RootedFiles.h"
#include "platform/servers/AdlServer.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// ADL from the files of the amdgpu driver. A card is an adapter of Overdrive generation 5, whose temperature
/// has thousandths of a degree; one without a thermometer has no Overdrive and a PM log with the load alone.
/// What a card has no file for, its function refuses. A card that sleeps is not woken up: its load is 0 and
/// its temperature refused.
class AmdGpuServer : public AdlServer {
  public:
    explicit AmdGpuServer(const RootedFiles& files) : files_(files) {}

    /// Looks for the cards anew: graphics cards, then processors' own graphics, each in the kernel's order.
    /// False when the driver has none. What cannot be looked at counts as a card whose context cannot be
    /// made, so that the list fails with the reason and is tried again.
    bool findCards();

    adl::Status numberOfAdapters(int& count) override;
    adl::Status adapterInfo(adl::AdapterInfo* records, std::size_t room) override;
    adl::Status createContext(adl::Allocator allocator, int adapter, adl::Context& context) override;
    adl::Status pmLog(adl::Context, int adapter, adl::PmLogData& data) override;
    adl::Status overdriveCaps(int adapter, int& supported, int& enabled, int& version) override;
    adl::Status od5Temperature(int adapter, int, adl::Od5Temperature& record) override;
    adl::Status od5Activity(int adapter, adl::Od5Activity& record) override;
    adl::Status memorySize(adl::Context, int adapter, std::int64_t& bytes) override;

  private:
    struct Card {
        std::string device; ///< Folder of the PCI device.
        std::string temperatureFile;
        std::string name;
        unsigned domain = 0;
        unsigned bus = 0;
        unsigned deviceNumber = 0;
        unsigned function = 0;
        bool isOfProcessor = false;
        ErrorCode error = kSuccess; ///< Why it cannot be looked at.
    };
    static Card unreadable(ErrorCode error);
    std::optional<Card> cardAt(const std::string& device) const;
    void readSensors(Card& card) const;
    std::string nameOf(const std::string& device) const;
    const Card* find(int adapter) const;
    bool isAsleep(const Card& card) const;
    adl::Status load(const Card& card, std::int32_t& percent) const;
    template <class Number>
    adl::Status readNumber(const std::string& path, Number& value) const;
    template <class Number>
    adl::Status readAwake(const Card& card, const std::string& path, Number& value) const;

    const RootedFiles& files_;
    std::vector<Card> cards_;
};

} // namespace orv::platform
