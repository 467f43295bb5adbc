// SPDX-License-Identifier: Apache-2.0
// Exports of VekTrgChain.h.
#include "VekTrgChain.h"

#include "api/Export.h"
#include "chain/BandRun.h"
#include "chain/Plan.h"
#include "chain/Refusal.h"
#include "chain/WorkArea.h"
#include "imageproc/rows/RowDispatch.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace {

/// What a handle's stages are set to. Each slot of a camera holds the library's own module.
std::shared_ptr<const vek::SHandleStages> stagesOf(const CVekTrgCamera& camera) {
    auto stages = std::make_shared<vek::SHandleStages>();
    stages->dark = static_cast<const vek::CNoiseReduction&>(camera.NoiseReduction()).Stage(VEK_NOISE_COMPLEX).dark;
    const auto& shading = static_cast<const vek::CShadingCorrection&>(camera.ShadingCorrection());
    stages->shading = shading.Stage();
    if (shading.WaitsForMap()) {
        stages->shading.map.reset(); // it is made for plans with shading, before this
    }
    stages->balance = static_cast<const vek::CWB&>(camera.WB()).Stage();
    stages->balance.UpdateTables(8);
    stages->rawGamma = static_cast<const vek::CGamma&>(camera.Gamma()).RawStage();
    stages->matrix = static_cast<const vek::CColorMatrix&>(camera.ColorMatrix()).Stage();
    stages->suppression = static_cast<const vek::CChromaSuppress&>(camera.ChromaSuppress()).Stage();
    stages->lumaGamma = static_cast<const vek::CGamma&>(camera.Gamma()).LumaStage();
    stages->sharpness = static_cast<const vek::CSharpness&>(camera.Sharpness()).Stage();
    return stages;
}

/// The shading map of a calibration that waits for one, if the description asks for shading and is right otherwise.
void makeMap(const CVekTrgCamera& camera, const vek::rows::SRowTable& kernels, const VekChainDescription& given) {
    VekChainDescription description = vek::knownDescription(given);
    if ((description.stages & VEK_CHAIN_SHADING) == 0) {
        return;
    }
    description.stages &= ~static_cast<unsigned>(VEK_CHAIN_SHADING);
    const unsigned depth = vek::makePlan(kernels, stagesOf(camera), description, nullptr)->frame.depth;
    if (static_cast<vek::CShadingCorrection&>(camera.ShadingCorrection()).UpdateMap(depth) != vek::kOk) {
        throw std::bad_alloc();
    }
}

/// Segments of the curves that the description asks for.
void seekSegments(const CVekTrgCamera& camera, const VekChainDescription& given) {
    const VekChainDescription description = vek::knownDescription(given);
    auto& gamma = static_cast<vek::CGamma&>(camera.Gamma());
    if ((description.stages & VEK_CHAIN_RAW_GAMMA) != 0) {
        gamma.SeekRawSegments();
    }
    if ((description.stages & VEK_CHAIN_LUMA_GAMMA) != 0) {
        gamma.SeekLumaSegments();
    }
}

void tell(const std::string& reason, char* text, std::size_t size) {
    if (text != nullptr && size != 0) {
        const std::size_t length = std::min(reason.size(), size - 1);
        std::memcpy(text, reason.data(), length);
        text[length] = '\0';
    }
}

/// Runs the body of an export that makes something, which body returns; result receives it.
template <class Result, class Body>
int make(Result* result, char* reason, std::size_t reasonSize, Body body) noexcept {
    tell({}, reason, reasonSize);
    if (result == nullptr) {
        return VEK_EINVAL;
    }
    *result = nullptr;
    try {
        *result = body();
        return VEK_OK;
    } catch (const vek::SRefusal& refusal) {
        tell(refusal.reason, reason, reasonSize);
        return VEK_EINVAL;
    } catch (const std::bad_alloc&) {
        return VEK_ENOMEM;
    } catch (...) {
        return VEK_EINVAL;
    }
}

/// Memory that begins with a cache line. Throws std::bad_alloc.
template <class T>
vek::Malloced<T> linesOf(std::size_t bytes) {
    const std::size_t lines = vek::roundUpToLine(std::max<std::size_t>(bytes, 1));
    vek::Malloced<T> memory(static_cast<T*>(std::aligned_alloc(vek::kCacheLine, lines)));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

bool servesState(VekChain_Plan plan, VekChain_State state) {
    return !plan->NeedsState() || (state != nullptr && state->bytes >= plan->StateBytes());
}

bool overlap(const void* a, std::size_t aBytes, const void* b, std::size_t bBytes) {
    const auto first = reinterpret_cast<std::uintptr_t>(a);
    const auto second = reinterpret_cast<std::uintptr_t>(b);
    return first < second ? second - first < aBytes : first - second < bBytes;
}

bool hasRows(VekChain_Plan plan, std::uint32_t first, std::uint32_t count) {
    const unsigned long height = plan->frame.height;
    const unsigned multiple = plan->RowMultiple();
    return first <= height && count <= height - first &&
           (count == 0 || (first % multiple == 0 && (count % multiple == 0 || first + count == height)));
}

} // namespace

int VekChain_Create(VekCam_Handle handle, const VekChainDescription* description, VekChain_Plan* plan, char* reason,
                    size_t reasonSize) {
    return make(plan, reason, reasonSize, [&]() -> VekChain_Plan {
        vek::require(handle != nullptr, "handle: null");
        vek::require(description != nullptr, "description: null");
        const vek::rows::SRowTable& kernels = vek::rows::bestTable();
        makeMap(*handle, kernels, *description);
        seekSegments(*handle, *description);
        return vek::makePlan(kernels, stagesOf(*handle), *description, nullptr).release();
    });
}

int VekChain_Update(VekChain_Plan plan, const VekChainDescription* description, VekChain_Plan* newPlan, char* reason,
                    size_t reasonSize) {
    return make(newPlan, reason, reasonSize, [&]() -> VekChain_Plan {
        vek::require(plan != nullptr, "plan: null");
        vek::require(description != nullptr, "description: null");
        return vek::makePlan(*plan->kernels, plan->handle, *description, plan).release();
    });
}

void VekChain_Destroy(VekChain_Plan plan) {
    delete plan;
}

int VekChain_Traits(VekChain_Plan plan, VekChainTraits* traits) {
    if (plan == nullptr || traits == nullptr || traits->size < sizeof(VekChainTraits)) {
        return VEK_EINVAL;
    }
    traits->traits = 0;
    if (plan->KeepsFrame()) {
        traits->traits |= VEK_CHAIN_SERIAL;
    }
    if (plan->MeasuresFrame()) {
        traits->traits |= VEK_CHAIN_FRAME_FIRST;
    }
    traits->rowMultiple = plan->RowMultiple();
    traits->width = static_cast<std::uint32_t>(plan->frame.width);
    traits->height = static_cast<std::uint32_t>(plan->frame.height);
    traits->depth = plan->picture.depth;
    traits->workingDepth = plan->workingDepth;
    traits->framePitch = plan->frame.pitch;
    traits->frameBytes = plan->frame.bytes;
    traits->picturePitch = plan->picture.pitch;
    traits->pictureBytes = plan->picture.bytes;
    traits->workBytes = plan->work.bytes;
    traits->stateBytes = plan->NeedsState() ? plan->StateBytes() : 0;
    return VEK_OK;
}

int VekChain_CreateWork(VekChain_Plan plan, VekChain_Work* work) {
    return make(work, nullptr, 0, [&]() -> VekChain_Work {
        vek::require(plan != nullptr, "plan: null");
        auto area = std::make_unique<CVekChainWork>();
        area->bytes = plan->work.bytes;
        area->memory = linesOf<void>(area->bytes);
        return area.release();
    });
}

void VekChain_DestroyWork(VekChain_Work work) {
    delete work;
}

int VekChain_CreateState(VekChain_Plan plan, VekChain_State* state) {
    return make(state, nullptr, 0, [&]() -> VekChain_State {
        vek::require(plan != nullptr, "plan: null");
        if (!plan->NeedsState()) {
            return nullptr;
        }
        auto made = std::make_unique<CVekChainState>();
        made->bytes = plan->StateBytes();
        if (plan->KeepsFrame()) {
            made->frame = linesOf<unsigned char>(plan->KeptBytes());
        }
        return made.release();
    });
}

void VekChain_DestroyState(VekChain_State state) {
    delete state;
}

int VekChain_Prepare(VekChain_Plan plan, VekChain_State state, VekChain_Work work, const void* frame) {
    if (plan == nullptr || work == nullptr || frame == nullptr || work->bytes < plan->work.bytes ||
        !servesState(plan, state)) {
        return VEK_EINVAL;
    }
    if (plan->NeedsState()) {
        state->preparedBy = 0;
        vek::prepareFrame(*plan, *state, *work, frame);
        state->preparedBy = plan->id;
    }
    return VEK_OK;
}

int VekChain_Run(VekChain_Plan plan, VekChain_State state, VekChain_Work work, const void* frame, void* picture,
                 uint32_t firstRow, uint32_t rowCount) {
    if (plan == nullptr || work == nullptr || frame == nullptr || picture == nullptr ||
        work->bytes < plan->work.bytes || !hasRows(plan, firstRow, rowCount)) {
        return VEK_EINVAL;
    }
    if (plan->NeedsState() && (state == nullptr || state->preparedBy != plan->id)) {
        return VEK_EINVAL;
    }
    if ((plan->picture.IsOfWords() && reinterpret_cast<std::uintptr_t>(picture) % sizeof(std::uint16_t) != 0) ||
        overlap(frame, plan->frame.bytes, picture, plan->picture.bytes)) {
        return VEK_EINVAL;
    }
    vek::runBand(*plan, state, *work, frame, picture, firstRow, firstRow + static_cast<unsigned long>(rowCount));
    return VEK_OK;
}

int VekChain_TakeStatistics(VekChain_Work work, VekChainStatistics* statistics) {
    if (work == nullptr || statistics == nullptr || statistics->size < sizeof(VekChainStatistics)) {
        return VEK_EINVAL;
    }
    work->counts.AddTo(*statistics);
    work->counts = {};
    return VEK_OK;
}

const char* VekChain_Tier(uint32_t index, int* runs) {
    const bool known = index < vek::rows::tierCount();
    const vek::rows::SRowTable* const table = known ? vek::rows::tier(index).table : nullptr;
    if (runs != nullptr) {
        *runs = table == &vek::rows::bestTable() ? 1 : 0;
    }
    return known ? table->name : nullptr;
}
