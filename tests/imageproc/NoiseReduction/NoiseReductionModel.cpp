// SPDX-License-Identifier: Apache-2.0
#include "imageproc/NoiseReduction/NoiseReductionModel.h"

#include "common/Status.h"
#include "support/ImageLayout.h"

namespace vek::test {

namespace {

struct SPoint {
    long x;
    long y;
};
using Points = std::vector<SPoint>;

enum class Family { Mono, XGGY, GXYG, None };

Family familyOf(unsigned short colorArray) {
    switch (colorArray) {
    case 1:
        return Family::Mono;
    case 2:
    case 5:
        return Family::XGGY;
    case 3:
    case 4:
        return Family::GXYG;
    default:
        return Family::None;
    }
}

bool isGreen(Family family, long x, long y) {
    return family == Family::XGGY ? (x + y) % 2 == 1 : (x + y) % 2 == 0;
}

Points diagonals(long x, long y) {
    return {{x - 1, y - 1}, {x + 1, y - 1}, {x - 1, y + 1}, {x + 1, y + 1}};
}

Points plus(long x, long y, long distance) {
    return {{x - distance, y}, {x + distance, y}, {x, y - distance}, {x, y + distance}};
}

Points insideOnly(const Points& points, long width, long height) {
    Points inside;
    for (const SPoint& p : points) {
        if (p.x >= 0 && p.x < width && p.y >= 0 && p.y < height) {
            inside.push_back(p);
        }
    }
    return inside;
}

/// Neighbours of a mono pixel: the diagonal ones inside, the nearest ones at the edge.
Points monoNeighbors(long width, long height, long x, long y) {
    const bool atEdge = x == 0 || x == width - 1 || y == 0 || y == height - 1;
    return atEdge ? insideOnly(plus(x, y, 1), width, height) : diagonals(x, y);
}

Points sameColor(Family family, long x, long y) {
    return isGreen(family, x, y) ? diagonals(x, y) : plus(x, y, 2);
}

/// The hand-made sets of images that begin with a green, case by case.
Points gxygNeighbors(long width, long height, long x, long y) {
    const bool first = x == 0;
    const bool second = x == 1;
    const bool lastButOne = x == width - 2;
    const bool last = x == width - 1;
    const bool even = x % 2 == 0;
    if (y == 0) {
        return first        ? Points{{2, 0}, {1, 1}}
               : second     ? Points{{3, 0}, {1, 2}}
               : lastButOne ? Points{{x - 1, 1}}
               : last       ? Points{{x - 2, 0}, {x, 2}}
               : even       ? Points{{x - 1, 1}, {x + 1, 1}}
                            : Points{{x - 2, 0}, {x + 2, 0}, {x, 2}};
    }
    if (y == 1) {
        return first        ? Points{{2, 1}, {0, 3}}
               : second     ? Points{{2, 0}, {2, 2}}
               : lastButOne ? Points{{x - 2, 1}, {x, 3}}
               : last       ? Points{{x - 1, 0}, {x - 1, 2}}
               : even       ? Points{{x - 2, 1}, {x + 2, 1}, {x, 3}}
                            : diagonals(x, 1);
    }
    if (y == height - 2) {
        return first        ? Points{{1, y - 1}, {1, y + 1}}
               : second     ? Points{{3, y}, {1, y - 2}}
               : lastButOne ? Points{{x - 1, y - 1}, {x - 1, y + 1}}
               : last       ? Points{{x - 2, y}, {x, y - 2}}
               : even       ? diagonals(x, y)
                            : Points{{x - 2, y}, {x + 2, y}, {x, y - 2}};
    }
    if (y == height - 1) {
        return first        ? Points{{2, y}, {0, y - 2}}
               : second     ? Points{{2, y - 1}}
               : lastButOne ? Points{{x - 2, y}, {x, y - 2}}
               : last       ? Points{{x - 1, y - 1}}
               : even       ? Points{{x - 2, y}, {x + 2, y}, {x, y - 2}}
                            : Points{{x - 1, y - 1}, {x + 1, y - 1}};
    }
    if (y % 2 == 0) {
        return first        ? Points{{1, y - 1}, {1, y + 1}}
               : second     ? Points{{3, y}, {1, y - 2}, {1, y + 2}}
               : lastButOne ? Points{{x - 1, y - 1}, {x - 1, y + 1}}
               : last       ? Points{{x - 2, y}, {x, y - 2}, {x, y + 2}}
                            : sameColor(Family::GXYG, x, y);
    }
    return first        ? Points{{2, y}, {0, y - 2}, {0, y + 2}}
           : second     ? Points{{2, y - 1}, {2, y + 1}}
           : lastButOne ? Points{{x - 2, y}, {x, y - 2}, {x, y + 2}}
           : last       ? Points{{x - 1, y - 1}, {x - 1, y + 1}}
                        : sameColor(Family::GXYG, x, y);
}

/// Odd sides: at the left and at the top the same; at the right and at the bottom only what lies outside drops out.
Points oddGxygNeighbors(long width, long height, long x, long y) {
    if (x == 0 && y == 0) {
        return {{2, 0}, {1, 1}};
    }
    if (x == 1 && y % 2 == 1) {
        return insideOnly({{2, y - 1}, {2, y + 1}}, width, height);
    }
    const bool evenWidth = width % 2 == 0;
    if (evenWidth && x == width - 2 && y % 2 == 0) {
        return insideOnly({{x - 1, y - 1}, {x - 1, y + 1}}, width, height);
    }
    return insideOnly(sameColor(Family::GXYG, x, y), width, height);
}

Points easyNeighbors(Family family, long width, long height, long x, long y) {
    switch (family) {
    case Family::Mono:
        return monoNeighbors(width, height, x, y);
    case Family::XGGY:
        return insideOnly(sameColor(Family::XGGY, x, y), width, height);
    default:
        return width % 2 == 0 && height % 2 == 0 ? gxygNeighbors(width, height, x, y)
                                                 : oddGxygNeighbors(width, height, x, y);
    }
}

bool hasMemory(unsigned long pitch, unsigned long lines) {
    return lines == 0 || pitch <= 0x7FFFFFFFFFFFFFFFUL / lines;
}

template <class T>
bool isRowTooShort(const SNoiseCall& call) {
    return call.width > modelPitch(call) / sizeof(T);
}

template <class T>
unsigned long easy(const SNoiseCall& call, T* image) {
    const unsigned long pitch = modelPitch(call);
    if (!hasMemory(pitch, call.height) || call.height > 0x7FFFFFFF) {
        return kOk;
    }
    const Family family = familyOf(call.colorArray);
    const unsigned long least = family == Family::Mono ? 2 : 4;
    if (family == Family::None || isRowTooShort<T>(call) || call.width < least || call.height < least) {
        return kInvalid;
    }
    if (image == nullptr) {
        return kInvalid;
    }
    const std::size_t extent = modelExtent(call, sizeof(T));
    std::vector<std::uint8_t> snapshot(extent);
    std::memcpy(snapshot.data(), image, extent);
    const auto width = static_cast<long>(call.width);
    const auto height = static_cast<long>(call.height);
    for (long y = 0; y < height; ++y) {
        for (long x = 0; x < width; ++x) {
            const auto read = [&](long atX, long atY) {
                const bool fromSnapshot = family == Family::Mono || (y == 0 && atY == 0);
                return sampleAt<T>(fromSnapshot ? static_cast<const void*>(snapshot.data()) : image, pitch, atY, atX);
            };
            const T center = read(x, y);
            std::vector<std::uint16_t> values{center};
            for (const SPoint& p : easyNeighbors(family, width, height, x, y)) {
                values.push_back(read(p.x, p.y));
            }
            const std::uint16_t median = modelMedian(values);
            setSampleAt(image, pitch, y, x, median < center ? static_cast<T>(median) : center);
        }
    }
    return kOk;
}

template <class T>
unsigned long store(SNoiseModel* model, const SNoiseCall& call, const T* image) {
    if (isRowTooShort<T>(call)) {
        return kInvalid;
    }
    const unsigned long pitch = modelPitch(call);
    *model = SNoiseModel{};
    if (!hasMemory(pitch, call.height)) {
        return kNoMemory;
    }
    const std::size_t extent = modelExtent(call, sizeof(T));
    if (image == nullptr && extent != 0) {
        return kInvalid;
    }
    model->held = true;
    model->bytes.resize(pitch * call.height);
    if (extent != 0) {
        std::memcpy(model->bytes.data(), image, extent);
    }
    model->width = call.width;
    model->height = call.height;
    model->pitch = pitch;
    model->colorArray = call.colorArray;
    // Complete 2 x 2 cells only.
    const long cellColumns = static_cast<long>(call.width / 2 * 2);
    const long cellLines = static_cast<long>(call.height / 2 * 2);
    for (long phase = 0; phase < 4; ++phase) {
        auto least = static_cast<T>(~T{0});
        for (long y = phase / 2; y < cellLines; y += 2) {
            for (long x = phase % 2; x < cellColumns; x += 2) {
                const T value = sampleAt<T>(model->bytes.data(), pitch, y, x);
                least = value < least ? value : least;
            }
        }
        for (long y = phase / 2; y < cellLines; y += 2) {
            for (long x = phase % 2; x < cellColumns; x += 2) {
                const T value = sampleAt<T>(model->bytes.data(), pitch, y, x);
                setSampleAt(model->bytes.data(), pitch, y, x, static_cast<T>(value - least));
            }
        }
    }
    return kOk;
}

template <class T>
void repair(const SNoiseCall& call, Family family, const std::vector<std::uint8_t>& live, T* image) {
    const unsigned long pitch = modelPitch(call);
    const std::uint32_t saturation = modelSaturation(call.bits, sizeof(T));
    const long edge = family == Family::Mono ? 1 : 2;
    for (long y = edge; y < static_cast<long>(call.height) - edge; ++y) {
        for (long x = edge; x < static_cast<long>(call.width) - edge; ++x) {
            const T center = sampleAt<T>(image, pitch, y, x);
            if (sampleAt<T>(live.data(), pitch, y, x) < saturation || center >= saturation) {
                continue;
            }
            std::vector<std::uint16_t> values{center};
            for (const SPoint& p : family == Family::Mono ? diagonals(x, y) : sameColor(family, x, y)) {
                values.push_back(sampleAt<T>(image, pitch, p.y, p.x));
            }
            const std::uint16_t median = modelMedian(values);
            setSampleAt(image, pitch, y, x, median > center ? static_cast<T>(median) : center);
        }
    }
}

template <class T>
unsigned long complex(const SNoiseModel& model, const SNoiseCall& call, T* image) {
    const unsigned long pitch = modelPitch(call);
    if (!model.held || call.width != model.width || call.height != model.height ||
        call.colorArray != model.colorArray || pitch != model.pitch ||
        call.width * call.height * sizeof(T) != model.bytes.size()) {
        return kInvalid;
    }
    const std::size_t extent = modelExtent(call, sizeof(T));
    if (image == nullptr && extent != 0) {
        return kInvalid;
    }
    std::vector<std::uint8_t> live(extent);
    if (extent != 0) {
        std::memcpy(live.data(), image, extent);
    }
    for (long y = 0; y < static_cast<long>(call.height); ++y) {
        for (long x = 0; x < static_cast<long>(call.width); ++x) {
            const T bright = sampleAt<T>(image, pitch, y, x);
            const T dark = sampleAt<T>(model.bytes.data(), pitch, y, x);
            setSampleAt(image, pitch, y, x, bright > dark ? static_cast<T>(bright - dark) : T{0});
        }
    }
    const Family family = familyOf(call.colorArray);
    if (family == Family::None) {
        return kInvalid;
    }
    repair(call, family, live, image);
    return kOk;
}

} // namespace

unsigned long modelPitch(const SNoiseCall& call, std::size_t) {
    return call.pitch != 0 ? call.pitch : call.width * ((call.bits + 7UL) / 8);
}

std::size_t modelExtent(const SNoiseCall& call, std::size_t sampleBytes) {
    return imageExtent(call.width, call.height, modelPitch(call), call.width * sampleBytes);
}

std::uint16_t modelMedian(std::vector<std::uint16_t> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t k = i + 1; k < values.size(); ++k) {
            if (values[k] > values[i]) {
                std::swap(values[i], values[k]);
            }
        }
    }
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : static_cast<std::uint16_t>((values[half - 1] + values[half]) / 2);
}

std::uint32_t modelSaturation(unsigned bits, std::size_t sampleBytes) {
    const std::uint64_t full = std::uint64_t{1} << bits;
    const std::uint64_t margin = bits < 7 ? 0 : std::uint64_t{1} << (bits - 7);
    const std::uint64_t saturation = full - margin - 1;
    return sampleBytes == 1 ? static_cast<std::uint8_t>(saturation) : static_cast<std::uint16_t>(saturation);
}

template <class T>
unsigned long modelNoiseReduction(SNoiseModel* model, const SNoiseCall& call, T* image) {
    switch (call.mode) {
    case kNoiseOff:
        return kOk;
    case kNoiseEasy:
        return easy(call, image);
    case kNoiseComplex:
        return complex(*model, call, image);
    case kNoiseStore:
        return store(model, call, image);
    default:
        return kInvalid;
    }
}

template unsigned long modelNoiseReduction(SNoiseModel*, const SNoiseCall&, std::uint8_t*);
template unsigned long modelNoiseReduction(SNoiseModel*, const SNoiseCall&, std::uint16_t*);

} // namespace vek::test
