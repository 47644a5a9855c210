#pragma once

#include "DriveFacts.h"
#include "Exports.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tool {

/// A reading that may not be there yet, or not at all. No sentinel of an export gets in here.
struct Value {
    enum class State { measuring, unknown, known };
    State state = State::measuring;
    double number = 0;
    std::string reason; // why it is unknown, where somebody said so

    bool known() const { return state == State::known; }
    static Value of(double number) { return {State::known, number, {}}; }
    static Value none(std::string reason = {}) { return {State::unknown, 0, std::move(reason)}; }
};

struct ProcessorSample {
    std::string name;                          // empty: it has none
    Value load, temperature, clock, baseClock; // per cent, degrees Celsius, MHz, MHz
    bool bySystem = false;                     // load and clock: the library does not know the processor
};

struct DriveSample {
    std::string place, model, kind;
    bool answers = false; // while it does not, the next three are unknown, and the temperature has the reason
    Value temperature, life;
    std::string health;
    std::string lastAnswer, silence; // a time as that of the sample; the reason of the silence
    Value read, write;               // bytes a second
};

struct AdapterSample {
    std::string model;
    Value down, up; // bytes a second
};

struct BatterySample {
    std::string name, states;
    Value charge, health; // per cent, of the full charge and of the designed one
    Value power, temperature, minutesLeft;
};

/// What moves, at one moment.
struct Sample {
    // Measured where the sample began, in UTC; on a described machine the seconds of its clock.
    std::string time;
    std::string shownTime; // for a person, where he is
    ProcessorSample processor;
    Value gpuLoad, gpuTemperature;
    Value memoryLoad, memoryBytes;
    // Of the three lists: measuring until there is one, unknown with the reason that kept it from being made.
    Value driveList, batteryList, adapterList;
    std::vector<DriveSample> drives;
    std::vector<std::string> unreadDrives; // a line for each reason why drives tell nothing
    std::vector<BatterySample> batteries;
    std::vector<AdapterSample> adapters;
};

/// One of the numbers of a sample.
struct Series {
    std::string column; // "drive0_read_B/s"
    std::string of;     // what it belongs to: "C: MODEL"; empty where there is but one
    const Value* value;
    int digits; // after the point
};
std::vector<Series> seriesOf(const Sample& sample);

/// Takes samples. All calls of the library happen in the thread that calls take.
class Sampler {
  public:
    /// `described`: the times are those of the machine's clock.
    explicit Sampler(bool described) : described_(described) {}

    /// Rates and loads count from the first sample on, so they are still being measured there. `progress` is
    /// told of every group of readings that has come in. Gives up between two calls when `stop` is set.
    const Sample& take(const std::atomic<bool>& stop, const std::function<void(const Sample&)>& progress);

  private:
    Value valueOf(const Export& entry, const Outcome& outcome, double scale) const;
    Value number(std::string_view name, double scale = 1.0, std::uint32_t index = 0);
    void takeProcessor();
    void takeMemory();
    void takeDrives(const std::atomic<bool>& stop);
    void takeRecord(std::size_t index, bool listed);
    void takeBatteries();
    void takeAdapters();

    const bool described_;
    bool first_ = true;
    UnlistedDrives unlisted_;
    Sample sample_;
};

/// Now on the clock that the samples go by, in nanoseconds.
std::int64_t watchClockNs(bool described);

} // namespace tool
