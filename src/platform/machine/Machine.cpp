#include "platform/machine/Machine.h"

namespace orv::platform {

MachineServices::MachineServices(const Node& root)
    : name(root.text("name")), systemFacts(root, requests), networkTables(root, requests, clock),
      nvidia(root, requests), amd(root, requests), amdRc2(root, requests), processor(root, requests, clock),
      ring0(root, requests), namedMutexes(root, requests, clock), performanceCounters(root, requests, clock),
      systemServices(root, requests, clock), drives(root, clock), raid(root, drives), volumes(root),
      managementData(root, requests, drives, systemServices), smbus(root, requests, ring0),
      batteries(root, clock) {
    root.text("description", ""); // for the reader of the file
    requests.load(root);
    clock.load(root);
    root.done();
}

std::unique_ptr<Machine> Machine::fromFile(const std::string& path) {
    return std::unique_ptr<Machine>(new Machine(Node::parseFile(path)));
}

std::unique_ptr<Machine> Machine::fromText(std::string_view text) {
    return std::unique_ptr<Machine>(new Machine(Node::parseText(text, "machine")));
}

} // namespace orv::platform
