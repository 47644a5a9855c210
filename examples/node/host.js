// A host in Node that loads the library at run time and polls it:
//
//     npm ci && node host.js LIBRARY
//
// The library also writes its log to standard output.
"use strict";

const koffi = require("koffi");

// name, result, arguments, unit. A "const char *" becomes a string of Node's own at once and is not freed: the text
// is the library's.
const FUNCTIONS = [
  ["getCpuLoad", "double", [], "of 1"],
  ["getCpuTemperature", "double", [], "degrees Celsius"],
  ["getCpuFrequency", "double", [], "MHz"],
  ["getCpuBaseFrequency", "int32_t", [], "MHz"],
  ["getGpuLoad", "double", [], "of 1"],
  ["getGpuTemperature", "double", [], "degrees Celsius"],
  ["getMemoryLoad", "int32_t", [], "percent"],
  ["getMemoryManufacturerAndModel", "const char *", [], ""],
  ["initDisk", "int32_t", [], "drives"],
  ["getAllDiskType", "const char *", [], ""],
  ["getDiskTemperature", "double", ["uint32_t"], "degrees Celsius"],
  ["getDiskReadWriteSpeed", "const char *", ["uint32_t"], ""],
  ["getDiskNameWhichOsInstalled", "const char *", [], ""],
  ["initBattery", "int32_t", [], "batteries"],
  ["getBatteryAllMessage", "const char *", ["uint32_t"], ""],
  ["getNetCardMessage", "const char *", [], ""],
  ["getNetCurrentSpeed", "const char *", [], ""],
  ["releaseRing0", "void", [], ""],
  ["getLastError", "const char *", [], ""],
];

function load(path) {
  const library = koffi.load(path);
  const probe = {};
  for (const [name, result, parameters] of FUNCTIONS) {
    probe[name] = library.func("__cdecl", name, result, parameters);
  }
  return probe;
}

// Prints one reading and gives its value. Every number's failure value is -1; a text carries the reason of its
// failure itself. Calls are synchronous, so there is never a second one beside them; koffi's .async would need a
// lock around the call and its getLastError.
function show(probe, name, ...indices) {
  const value = probe[name](...indices);
  const unit = FUNCTIONS.find(([known]) => known === name)[3];
  console.log(`${name}: ${value === -1 ? "failed: " + probe.getLastError() : `${value} ${unit}`}`);
  return value;
}

async function main(path) {
  let probe;
  try {
    probe = load(path);
  } catch (error) {
    console.error(`${path} cannot be used: ${error.message}`);
    process.exit(1);
  }
  for (let sample = 0; sample < 2; ++sample) {
    // Loads and rates tell what happened between two calls.
    await new Promise((done) => setTimeout(done, sample * 1000));
    for (const name of ["getCpuLoad", "getCpuFrequency", "getMemoryLoad", "getNetCurrentSpeed"]) show(probe, name);
  }
  for (const name of ["getCpuTemperature", "getCpuBaseFrequency", "getGpuLoad", "getGpuTemperature",
    "getMemoryManufacturerAndModel"]) {
    show(probe, name);
  }
  const drives = show(probe, "initDisk");
  for (let drive = 0; drive < drives; ++drive) {
    show(probe, "getDiskTemperature", drive);
    show(probe, "getDiskReadWriteSpeed", drive);
  }
  show(probe, "getAllDiskType");
  show(probe, "getDiskNameWhichOsInstalled");
  const batteries = show(probe, "initBattery");
  for (let battery = 0; battery < batteries; ++battery) show(probe, "getBatteryAllMessage", battery);
  show(probe, "getNetCardMessage");
  probe.releaseRing0();
}

if (process.argv.length !== 3) {
  console.error("usage: node host.js LIBRARY");
  process.exit(2);
}
main(process.argv[2]);
