#include "gpu/Gpu.h"

#include "gpu/gpu_amd.h"
#include "gpu/gpu_nvidia.h"
#include "state/ProcessState.h"

namespace orv {

namespace {

struct GpuState {
    OnceCell<GpuList> list;
};

GpuList makeGpuList() {
    GpuList gpus = GetAllNvidiaGpus();
    for (auto& gpu : GetAllAmdGpus())
        gpus.push_back(std::move(gpu));
    return gpus;
}

} // namespace

const GpuList& GetGpuList() {
    return processWide<GpuState>().list.get(makeGpuList);
}

} // namespace orv
