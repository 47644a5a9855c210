#include "platform/machine/Machine.h"

namespace orv::platform {

Machine::Machine(const Node& root)
    : name_(root.text("name")), systemFacts_(root, requests_), networkTables_(root, requests_, clock_),
      nvidia_(root, requests_), amd_(root, requests_), processor_(root, requests_, clock_),
      ring0_(root, requests_), namedMutexes_(root, requests_, clock_), timers_(requests_, clock_),
      performanceCounters_(root, requests_, clock_), managementData_(root, requests_),
      smbus_(root, requests_, ring0_), batteries_(root, clock_), deviceTree_(batteries_, requests_),
      deviceFiles_(batteries_, requests_), registry_(networkTables_.cards(), requests_),
      privileges_(requests_) {
    root.text("description", ""); // for the reader of the file
    requests_.load(root);
    clock_.load(root);
    root.done();
}

std::unique_ptr<Machine> Machine::fromFile(const std::string& path) {
    return std::unique_ptr<Machine>(new Machine(Node::parseFile(path)));
}

std::unique_ptr<Machine> Machine::fromText(std::string_view text) {
    return std::unique_ptr<Machine>(new Machine(Node::parseText(text, "machine")));
}

} // namespace orv::platform
