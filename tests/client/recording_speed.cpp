// SPDX-License-Identifier: Apache-2.0
// Records frames as fast as the disk takes them and prints the bytes that frames.raw got and the seconds.
// Usage: recording_speed FOLDER WIDTH HEIGHT FRAMES WRITERS BUFFERS; frames of raw8.
#include "client/recording/RecordingWriter.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

namespace {

int record(char** arguments) {
    using namespace vek;
    const auto number = [&](int i) { return static_cast<unsigned>(std::strtoul(arguments[i], nullptr, 10)); };
    const client::SRecordingForm form{
        transferFormat(VEK_TRANSFER_RAW8), number(2), number(3), VEK_COLOR_ARRAY_RGGB, 0, 0};
    const unsigned frames = number(4);
    client::CRecordingWriter writer(arguments[1], {.form = form, .buffers = number(6), .writers = number(5)});
    std::vector<std::uint8_t> frame(form.FrameBytes());
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint8_t>((i * 2654435761U) >> 24);
    }
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < frames; ++i) {
        writer.Add(frame, {});
    }
    writer.Flush();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    const client::SRecordingCounts counts = writer.Finish({});
    std::printf("%llu %.6f %s\n", static_cast<unsigned long long>(frames * form.Stride()), seconds.count(),
                counts.direct ? "direct" : "cached");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return argc == 7 ? record(argv) : 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "recording_speed: %s\n", error.what());
        return 1;
    }
}
