// SPDX-License-Identifier: Apache-2.0
#include "client/settings/SettingText.h"

#include "client/Errors.h"
#include "client/files/InputFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace vek::client {

namespace {

// A file that the library wrote has less than 2000 bytes.
constexpr std::size_t kLargestFile = std::size_t{1} << 20;

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Reads words and numbers of a text the way of fscanf's %s and %ld.
class CScanner {
public:
    explicit CScanner(std::string_view text) : mText(text) {}

    /// Of the next character that is no blank.
    std::size_t Line() const { return mLine; }

    /// The next characters up to a blank; empty at the end of the text.
    std::string_view Word() {
        const std::size_t start = mAt;
        while (mAt < mText.size() && !isBlank(mText[mAt])) {
            ++mAt;
        }
        return mText.substr(start, mAt - start);
    }

    /// A decimal number, as near as a long comes to it. Where there is none, a sign is read all the same.
    std::optional<long> Number() {
        SkipBlanks();
        const bool negative = mAt < mText.size() && mText[mAt] == '-';
        if (mAt < mText.size() && (negative || mText[mAt] == '+')) {
            ++mAt;
        }
        if (mAt >= mText.size() || !isDigit(mText[mAt])) {
            return std::nullopt;
        }
        constexpr long kLowest = std::numeric_limits<long>::min();
        long value = 0; // negative, since that range is the larger one
        bool fits = true;
        for (; mAt < mText.size() && isDigit(mText[mAt]); ++mAt) {
            fits = fits && !__builtin_mul_overflow(value, 10, &value) &&
                   !__builtin_sub_overflow(value, mText[mAt] - '0', &value);
        }
        if (negative) {
            return fits ? value : kLowest;
        }
        return fits && value != kLowest ? -value : std::numeric_limits<long>::max();
    }

    void SkipBlanks() {
        for (; mAt < mText.size() && isBlank(mText[mAt]); ++mAt) {
            mLine += mText[mAt] == '\n' ? 1 : 0;
        }
    }

private:
    std::string_view mText;
    std::size_t mAt = 0;
    std::size_t mLine = 1;
};

} // namespace

std::string readText(const std::string& path) {
    return readWholeFile(path, kLargestFile, "setting file");
}

SSettingText parsedSettings(std::string_view text) {
    SSettingText result;
    CScanner scanner(text);
    for (;;) {
        scanner.SkipBlanks();
        const std::size_t line = scanner.Line();
        const std::string_view word = scanner.Word();
        if (word.empty()) {
            break;
        }
        const std::optional<long> number = scanner.Number();
        const std::optional<std::size_t> key = findSetting(word);
        if (!number) {
            result.passedOver.push_back({line, std::string(word), number, "no number follows"});
        } else if (!key) {
            result.passedOver.push_back({line, std::string(word), number, "unknown key"});
        } else {
            std::optional<SFileSetting>& setting = result.settings[*key];
            if (setting) {
                result.passedOver.push_back({setting->line, std::string(word), setting->written,
                                             fmt::format("line {} has the key again", line)});
            }
            setting = {allSettings()[*key].Cut(*number), *number, line};
        }
    }
    std::stable_sort(result.passedOver.begin(), result.passedOver.end(),
                     [](const SPassedOver& a, const SPassedOver& b) { return a.line < b.line; });
    return result;
}

SSettingText readSettingText(const std::string& path) {
    SSettingText text = parsedSettings(readText(path));
    if (std::none_of(text.settings.begin(), text.settings.end(),
                     [](const auto& setting) { return setting.has_value(); })) {
        throw CFailure(fmt::format("{}: no setting file: none of its words is a key with a number", path));
    }
    return text;
}

} // namespace vek::client
