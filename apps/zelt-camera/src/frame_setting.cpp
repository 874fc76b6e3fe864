#include "frame_setting.h"

#include <cctype>
#include <numeric>

namespace zelt::cli {
namespace {

// A cursor over the text with the few readers the grammar needs.
class Reader {
public:
    explicit Reader(const std::string& text) : m_text(text) {}

    void skipBlanks() {
        while (m_pos < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_pos])))
            ++m_pos;
    }
    bool literal(const char* word) {
        skipBlanks();
        std::size_t i = 0;
        while (word[i] != '\0') {
            if (m_pos + i >= m_text.size() || m_text[m_pos + i] != word[i]) return false;
            ++i;
        }
        m_pos += i;
        return true;
    }
    // Digits only, no sign: sizes and rates are positive. Caps the value far above any
    // camera's so that the arithmetic below cannot overflow.
    std::optional<std::int64_t> number(bool skip_blanks = true) {
        if (skip_blanks) skipBlanks();
        std::int64_t value = 0;
        const std::size_t start = m_pos;
        while (m_pos < m_text.size() && std::isdigit(static_cast<unsigned char>(m_text[m_pos]))) {
            value = value * 10 + (m_text[m_pos] - '0');
            if (value > 0x7FFFFFFF) return std::nullopt;
            ++m_pos;
        }
        if (m_pos == start) return std::nullopt;
        return value;
    }
    bool peek(char c) const { return m_pos < m_text.size() && m_text[m_pos] == c; }
    void advance() { ++m_pos; }
    bool atEnd() {
        skipBlanks();
        return m_pos == m_text.size();
    }

private:
    const std::string& m_text;
    std::size_t m_pos = 0;
};

}  // namespace

std::optional<FrameSetting> parseFrameSetting(const std::string& text) {
    Reader reader(text);
    FrameSetting setting;
    const auto width = reader.number();
    if (!width || !reader.literal("x")) return std::nullopt;
    const auto height = reader.number();
    if (!height || !reader.literal("@")) return std::nullopt;
    const auto numerator = reader.number();
    if (!numerator) return std::nullopt;
    std::int64_t denominator = 1;
    if (reader.peek('/')) {
        reader.advance();
        const auto value = reader.number(false);
        if (!value || *value == 0) return std::nullopt;
        denominator = *value;
    }
    // "fps" may be left out ("640x480@30"): the rate is the only number after '@'.
    if (!reader.atEnd() && (!reader.literal("fps") || !reader.atEnd())) return std::nullopt;
    const std::int64_t divisor = std::gcd(*numerator, denominator);
    setting.width = *width;
    setting.height = *height;
    setting.rate_numerator = divisor != 0 ? *numerator / divisor : 0;
    setting.rate_denominator = divisor != 0 ? denominator / divisor : 1;
    return setting;
}

std::string frameSettingText(const FrameSetting& setting) {
    std::string text = std::to_string(setting.width) + " x " + std::to_string(setting.height) +
                       " @ " + std::to_string(setting.rate_numerator);
    if (setting.rate_denominator != 1) text += "/" + std::to_string(setting.rate_denominator);
    return text + " fps";
}

std::optional<std::string> findOfferedSetting(const std::vector<std::string>& offered,
                                              const std::string& wanted) {
    const auto parsed = parseFrameSetting(wanted);
    if (!parsed) return std::nullopt;
    for (const std::string& text : offered) {
        if (parseFrameSetting(text) == parsed) return text;
    }
    return std::nullopt;
}

}  // namespace zelt::cli
