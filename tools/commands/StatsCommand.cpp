// SPDX-License-Identifier: Apache-2.0
#include "client/drawing/Plot.h"
#include "client/files/JsonText.h"
#include "client/pictures/PictureOutput.h"
#include "client/statistics/FrameStatistics.h"

#include "tools/commands/Commands.h"
#include "tools/options/Options.h"
#include "tools/options/SampleOptions.h"
#include "tools/text/Columns.h"
#include "tools/text/HistogramText.h"
#include "tools/text/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <memory>

namespace vek::tools {

namespace {

struct STileCounts {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
};

struct SStatsArguments {
    SSampleOptions options;
    std::vector<std::string> files;
    std::optional<SFrameSteps> frames;
    std::string region;
    std::optional<STileCounts> tiles;
    std::string histogram;
    bool logarithmic = false;
    bool json = false;
};

/// "COLUMNSxROWS", 1 to 64 each.
std::optional<STileCounts> parsedTiles(std::string_view text) {
    constexpr std::uint32_t kMost = 64;
    const std::vector<std::string_view> parts = sim::splitText(text, 'x');
    if (parts.size() != 2) {
        return std::nullopt;
    }
    const auto columns = sim::readWhole<std::uint32_t>(parts[0], 1, kMost);
    const auto rows = sim::readWhole<std::uint32_t>(parts[1], 1, kMost);
    return columns && rows ? std::optional(STileCounts{*columns, *rows}) : std::nullopt;
}

/// As many tiles as fit into a region, or the ones that are asked for. Throws CBadArguments.
STileCounts tilesIn(const SRegion& region, const std::optional<STileCounts>& asked) {
    constexpr STileCounts kUsual = {8, 6};
    const std::uint32_t columns = region.width / kSmallestTile;
    const std::uint32_t rows = region.height / kSmallestTile;
    if (asked && (asked->columns > columns || asked->rows > rows)) {
        throw CBadArguments(fmt::format("--tiles {}x{}: tiles of {} x {} pixels have less than {} x {}", asked->columns,
                                        asked->rows, region.width / asked->columns, region.height / asked->rows,
                                        kSmallestTile, kSmallestTile));
    }
    if (columns == 0 || rows == 0) {
        return {};
    }
    return asked.value_or(STileCounts{std::min(columns, kUsual.columns), std::min(rows, kUsual.rows)});
}

/// The mean black level of each colour of a frame. levelAt: of a pixel, repeated after period rows and columns.
template <class LevelAt>
std::array<double, 4> blackOfColors(unsigned short colorArray, std::size_t periodRows, std::size_t periodColumns,
                                    const LevelAt& levelAt) {
    const CColorCells cells(1, colorArray);
    std::array<double, 4> sums{};
    std::array<double, 4> counts{};
    for (std::size_t y = 0; y < 2 * periodRows; ++y) {
        const std::vector<std::size_t> colors = cells.OfRow(y);
        for (std::size_t x = 0; x < 2 * periodColumns; ++x) {
            const std::size_t color = colors[x % colors.size()];
            sums[color] += levelAt(y, x);
            ++counts[color];
        }
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
        sums[i] /= std::max(counts[i], 1.0);
    }
    return sums;
}

/// The levels that the first frame's file or profile tells.
void takeLevels(SStatisticsForm& form, const SChosenSamples& samples) {
    form.white = maxSample(form.depth);
    if (samples.tags) {
        const std::vector<double>& black = samples.tags->black;
        form.black = blackOfColors(form.colorArray, 1, 1, [&](std::size_t y, std::size_t x) {
            return black.size() == 4 ? black[2 * (y % 2) + x % 2] : blackLevelOf(*samples.tags);
        });
        form.white = samples.tags->white != 0 ? samples.tags->white : form.white;
    }
    const SProfile* const profile = samples.profile ? &*samples.profile : nullptr;
    if (profile != nullptr && samples.image.channels == 1) {
        const SBlackLevels pattern = profile->blackLevel.value_or(SBlackLevels{});
        form.black = blackOfColors(form.colorArray, pattern.rows, pattern.columns,
                                   [&](std::size_t y, std::size_t x) { return profile->BlackAt(y, x); });
        form.white = profile->WhiteLevel().value_or(form.white);
    }
}

/// The least that an image has.
constexpr unsigned short kSmallestDepth = 8;

/// What a profile's table makes of samples, whose depth becomes that of its largest value.
void linearize(SChosenSamples& samples) {
    const bool has = samples.profile && !samples.profile->linearization.empty() && samples.image.channels == 1;
    if (!has) {
        return;
    }
    const std::vector<std::uint16_t>& table = samples.profile->linearization;
    for (std::uint16_t& sample : samples.image.samples) {
        sample = table[std::min<std::size_t>(sample, table.size() - 1)];
    }
    const auto bits = std::bit_width(unsigned{*std::max_element(table.begin(), table.end())});
    samples.image.depth = std::max(static_cast<unsigned short>(bits), kSmallestDepth);
}

struct SMeasured {
    std::vector<std::string> files;
    std::string frame; ///< what the frames are like
    SStatisticsForm form;
    SFrameStatistics statistics;
};

SMeasured measuredFrames(const SStatsArguments& arguments) {
    const CLibraryHandle library(-1);
    SFrameSteps steps = arguments.frames.value_or(SFrameSteps{});
    if (arguments.options.choice.frame) {
        steps = {*arguments.options.choice.frame, arguments.options.choice.frame, 1};
    }
    CSampleSeries series(library, arguments.options, arguments.files, steps);
    SMeasured measured;
    measured.files = series.Paths();
    std::optional<CFrameStatistics> statistics;
    while (std::optional<SChosenSamples> samples = series.Next()) {
        const std::string text = samples->Text();
        linearize(*samples);
        if (!statistics) {
            SStatisticsForm form;
            form.width = samples->image.width;
            form.height = samples->image.height;
            form.channels = samples->image.channels;
            form.depth = samples->image.depth;
            form.colorArray = samples->colorArray;
            form.region = regionInside(arguments.region, form.width, form.height);
            const STileCounts tiles = tilesIn(form.region, arguments.tiles);
            form.tileColumns = tiles.columns;
            form.tileRows = tiles.rows;
            takeLevels(form, *samples);
            measured.frame = text;
            statistics.emplace(form);
        }
        const SStatisticsForm& form = statistics->Form();
        const SImage& image = samples->image;
        if (text != measured.frame || image.depth != form.depth) {
            throw CFailure(
                fmt::format("{}: another form than the first frame: {}; {}", samples->path, text, measured.frame));
        }
        statistics->Add(image);
    }
    if (!statistics) {
        throw CFailure("no frame there");
    }
    measured.form = statistics->Form();
    measured.statistics = statistics->Result();
    return measured;
}

std::string rankName(unsigned rank) {
    return fmt::format("{}%", rank / 10.0);
}

std::string share(double part) {
    return fmt::format("{:.4g}%", 100 * part);
}

std::string statisticsTable(const SMeasured& measured) {
    constexpr std::size_t kNameWidth = 14;
    std::string text;
    const std::vector<SColorStatistics>& colors = measured.statistics.colors;
    const auto addRow = [&](std::string_view name, const auto& valueOf) {
        text += fmt::format("{:<{}}", name, kNameWidth);
        for (const SColorStatistics& color : colors) {
            text += fmt::format("{:>14}", color.count == 0 ? std::string("-") : valueOf(color));
        }
        text += '\n';
    };
    addRow("", [](const SColorStatistics& color) { return std::string(color.name); });
    addRow("samples", [](const SColorStatistics& color) { return fmt::format("{}", color.count); });
    addRow("smallest", [](const SColorStatistics& color) { return fmt::format("{}", color.smallest); });
    addRow("largest", [](const SColorStatistics& color) { return fmt::format("{}", color.largest); });
    addRow("mean", [](const SColorStatistics& color) { return fmt::format("{:.3f}", color.mean); });
    addRow("deviation", [](const SColorStatistics& color) { return fmt::format("{:.3f}", color.deviation); });
    for (std::size_t i = 0; i < kPercentileRanks.size(); ++i) {
        addRow(rankName(kPercentileRanks[i]),
               [i](const SColorStatistics& color) { return fmt::format("{}", color.percentiles[i]); });
    }
    addRow("clipped", [](const SColorStatistics& color) { return share(color.clipped); });
    addRow("dark", [](const SColorStatistics& color) { return share(color.dark); });
    if (measured.statistics.frames > 1) {
        addRow("frame noise", [](const SColorStatistics& color) { return fmt::format("{:.4f}", color.temporalNoise); });
    }
    return text;
}

std::string sharpnessTable(const STileSharpness& sharpness) {
    if (sharpness.percents.empty()) {
        return "";
    }
    const std::size_t best = sharpness.Best();
    std::string text =
        fmt::format("\nsharpness, slope in % of the signal; best {:.2f} in column {}, row {}\n",
                    sharpness.percents[best], best % sharpness.columns + 1, best / sharpness.columns + 1);
    for (std::uint32_t row = 0; row < sharpness.rows; ++row) {
        for (std::uint32_t column = 0; column < sharpness.columns; ++column) {
            const std::size_t tile = std::size_t{row} * sharpness.columns + column;
            text += fmt::format("{:>8.2f}{}", sharpness.percents[tile], tile == best ? '*' : ' ');
        }
        while (text.ends_with(' ')) {
            text.pop_back();
        }
        text += '\n';
    }
    return text;
}

std::string statisticsText(const SStatsArguments& arguments, const SMeasured& measured) {
    const SStatisticsForm& form = measured.form;
    CColumns lines(14);
    for (const std::string& file : measured.files) {
        lines.Add(&file == &measured.files.front() ? "frame" : "", file);
    }
    lines.Add("image", measured.frame);
    lines.Add("region", fmt::format("{} x {} pixels at {}, {}", form.region.width, form.region.height, form.region.x,
                                    form.region.y));
    lines.Add("frames", fmt::format("{}", measured.statistics.frames));
    return lines.Text() + '\n' + statisticsTable(measured) + '\n' +
           histogramText(measured.statistics.colors, arguments.logarithmic) +
           sharpnessTable(measured.statistics.sharpness);
}

nlohmann::ordered_json histogramJson(const SColorStatistics& color) {
    constexpr std::size_t kMostBins = 256;
    const SHistogramBins bins =
        binsOf(color.histogram, 0, static_cast<unsigned>(color.histogram.size() - 1), kMostBins);
    return {{"first", bins.first}, {"samplesPerBin", bins.width}, {"counts", bins.counts}};
}

std::string statisticsJson(const SMeasured& measured) {
    const SStatisticsForm& form = measured.form;
    nlohmann::ordered_json json;
    json["files"] = measured.files;
    json["image"] = measured.frame;
    json["width"] = form.width;
    json["height"] = form.height;
    json["depth"] = form.depth;
    json["region"] = {
        {"x", form.region.x}, {"y", form.region.y}, {"width", form.region.width}, {"height", form.region.height}};
    json["frames"] = measured.statistics.frames;
    json["whiteLevel"] = form.white;
    for (std::size_t i = 0; i < measured.statistics.colors.size(); ++i) {
        const SColorStatistics& color = measured.statistics.colors[i];
        nlohmann::ordered_json& entry = json["colors"][std::string(color.name)];
        entry["samples"] = color.count;
        if (color.count == 0) {
            continue;
        }
        entry["smallest"] = color.smallest;
        entry["largest"] = color.largest;
        entry["mean"] = color.mean;
        entry["deviation"] = color.deviation;
        for (std::size_t k = 0; k < kPercentileRanks.size(); ++k) {
            entry["percentiles"][fmt::format("{}", kPercentileRanks[k] / 10.0)] = color.percentiles[k];
        }
        entry["blackLevel"] = form.black[i];
        entry["clipped"] = color.clipped;
        entry["dark"] = color.dark;
        entry["frameNoise"] =
            measured.statistics.frames > 1 ? nlohmann::ordered_json(color.temporalNoise) : nlohmann::ordered_json();
        entry["histogram"] = histogramJson(color);
    }
    const STileSharpness& sharpness = measured.statistics.sharpness;
    json["sharpness"] = nullptr;
    if (!sharpness.percents.empty()) {
        nlohmann::ordered_json rows = nlohmann::ordered_json::array();
        for (std::uint32_t row = 0; row < sharpness.rows; ++row) {
            const auto begin = sharpness.percents.begin() + static_cast<std::ptrdiff_t>(row) * sharpness.columns;
            rows.push_back(std::vector<double>(begin, begin + sharpness.columns));
        }
        const std::size_t best = sharpness.Best();
        json["sharpness"] = {{"columns", sharpness.columns},
                             {"rows", sharpness.rows},
                             {"percents", rows},
                             {"best",
                              {{"column", best % sharpness.columns + 1},
                               {"row", best / sharpness.columns + 1},
                               {"percent", sharpness.percents[best]}}}};
    }
    return jsonText(json);
}

/// The colour of a colour's line.
SColor lineColor(std::string_view name) {
    return name == "R"      ? kChannelRed
           : name == "B"    ? kChannelBlue
           : name == "Gb"   ? SColor{120, 190, 70}
           : name == "grey" ? SColor{70, 70, 70}
                            : kChannelGreen;
}

/// The histograms of all colours, of the samples that there are.
SImage histogramPicture(const SMeasured& measured, bool logarithmic) {
    constexpr std::size_t kMostBins = 400;
    const auto [first, last] = sampleRange(measured.statistics.colors);
    SPlot plot;
    plot.title = measured.files.size() == 1
                     ? measured.files.front()
                     : fmt::format("{} and {} more", measured.files.front(), measured.files.size() - 1);
    plot.x.label = "sample";
    plot.x.low = first;
    plot.x.high = last + 1.0;
    plot.y.label = "samples";
    plot.y.logarithmic = logarithmic;
    for (const SColorStatistics& color : measured.statistics.colors) {
        const SHistogramBins bins = binsOf(color.histogram, first, last, kMostBins);
        SSeries series;
        series.name = color.name;
        series.kind = ESeries::Steps;
        series.color = lineColor(color.name);
        for (std::size_t i = 0; i < bins.counts.size(); ++i) {
            series.points.push_back(
                {bins.first + static_cast<double>(i * bins.width), static_cast<double>(bins.counts[i])});
        }
        series.points.push_back({bins.first + static_cast<double>(bins.counts.size() * bins.width), 0});
        plot.series.push_back(std::move(series));
    }
    return plotImage(plot);
}

void writeHistogram(const SStatsArguments& arguments, const SMeasured& measured) {
    const SImage picture = histogramPicture(measured, arguments.logarithmic);
    checkPicture(arguments.histogram, picture.width, picture.height, picture.channels, picture.depth);
    std::vector<std::uint8_t> bytes;
    std::vector<std::string> inputs = measured.files;
    inputs.push_back(arguments.options.profile);
    COutputFiles files(inputs);
    writePicture(files.Open(arguments.histogram), *pictureFormat(arguments.histogram), viewOf(picture, bytes), {});
    files.Publish();
}

void showStatistics(const SStatsArguments& arguments) {
    const SMeasured measured = measuredFrames(arguments);
    if (!arguments.histogram.empty()) {
        writeHistogram(arguments, measured);
    }
    print(arguments.json ? statisticsJson(measured) : statisticsText(arguments, measured));
}

} // namespace

void addStatsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("stats", "Tell levels, noise and sharpness of frames and pictures");
    const auto arguments = std::make_shared<SStatsArguments>();
    command
        ->add_option("FRAME", arguments->files,
                     "Raw, DNG, PNG, TIFF, JPEG, PGM or PPM files, or patterns of names, with frames of one\n"
                     "form, which are measured together; - reads raw frames from standard input")
        ->type_name("FILE")
        ->required();
    addSampleOptions(*command, arguments->options);
    addParsedOption<SFrameSteps>(*command, "--frames", arguments->frames, parsedFrameSteps,
                                 "is no FIRST:LAST:STEP of whole numbers",
                                 "Which frames of all files, counted from 0, or one number; all by default")
        ->type_name("FIRST:LAST:STEP")
        ->excludes(command->get_option("--frame"));
    addRegion(*command, arguments->region, "Where to measure");
    addParsedOption<STileCounts>(*command, "--tiles", arguments->tiles, parsedTiles,
                                 "is no COLUMNSxROWS: whole numbers of 1 to 64",
                                 "Parts of the region whose sharpness is told, of 8 x 8 pixels or more; 8x6 by\n"
                                 "default, fewer where the region is small")
        ->type_name("COLUMNSxROWS");
    command
        ->add_option("--histogram", arguments->histogram,
                     "Picture of the histograms to write, of the kind that its name ends in")
        ->type_name("FILE")
        ->check(isOutput(pictureComplaint));
    command->add_flag("--log", arguments->logarithmic, "Draw the logarithm of the histograms' counts")
        ->disable_flag_override();
    addJson(*command, arguments->json);
    command->callback([arguments] { showStatistics(*arguments); });
}

} // namespace vek::tools
