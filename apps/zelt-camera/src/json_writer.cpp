#include "json_writer.h"

#include <glib.h>

#include <charconv>
#include <cmath>
#include <stdexcept>

namespace zelt::cli {
namespace {

constexpr const char* kIndent = "  ";

}  // namespace

std::string JsonWriter::quote(std::string_view text) {
    std::string valid;
    const char* end = nullptr;
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end)) {
        gchar* repaired = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
        valid = repaired;
        g_free(repaired);
        text = valid;
    }
    std::string out;
    out.reserve(text.size() + 2);
    out += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            default:
                if (byte < 0x20) {
                    static constexpr char kHex[] = "0123456789abcdef";
                    out += "\\u00";
                    out += kHex[byte >> 4];
                    out += kHex[byte & 0xF];
                } else {
                    out += c;
                }
        }
    }
    out += '"';
    return out;
}

void JsonWriter::newline() {
    m_text += '\n';
    for (std::size_t i = 0; i < m_levels.size(); ++i) m_text += kIndent;
}

void JsonWriter::beforeValue() {
    if (m_done) throw std::logic_error("JSON document already complete");
    if (m_levels.empty()) return;
    Level& level = m_levels.back();
    if (level.object) {
        if (!level.key_written) throw std::logic_error("JSON object member without a key");
        level.key_written = false;
        return;
    }
    if (level.count++ > 0) m_text += ',';
    newline();
}

JsonWriter& JsonWriter::key(std::string_view name) {
    if (m_levels.empty() || !m_levels.back().object || m_levels.back().key_written) {
        throw std::logic_error("JSON key outside an object");
    }
    Level& level = m_levels.back();
    if (level.count++ > 0) m_text += ',';
    newline();
    m_text += quote(name);
    m_text += ": ";
    level.key_written = true;
    return *this;
}

JsonWriter& JsonWriter::beginObject() {
    beforeValue();
    m_text += '{';
    m_levels.push_back(Level{true});
    return *this;
}

JsonWriter& JsonWriter::beginArray() {
    beforeValue();
    m_text += '[';
    m_levels.push_back(Level{false});
    return *this;
}

JsonWriter& JsonWriter::endObject() {
    if (m_levels.empty() || !m_levels.back().object || m_levels.back().key_written) {
        throw std::logic_error("unbalanced JSON object");
    }
    const bool empty = m_levels.back().count == 0;
    m_levels.pop_back();
    if (!empty) newline();
    m_text += '}';
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::endArray() {
    if (m_levels.empty() || m_levels.back().object) throw std::logic_error("unbalanced JSON array");
    const bool empty = m_levels.back().count == 0;
    m_levels.pop_back();
    if (!empty) newline();
    m_text += ']';
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
    beforeValue();
    m_text += quote(text);
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::value(bool flag) {
    beforeValue();
    m_text += flag ? "true" : "false";
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::value(std::int64_t number) {
    beforeValue();
    m_text += std::to_string(number);
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::value(std::uint64_t number) {
    beforeValue();
    m_text += std::to_string(number);
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::value(double number) {
    if (!std::isfinite(number)) return null();
    beforeValue();
    char buffer[32];
    // Whole numbers as integers ("10000000", not "1e+07"), while they are exact.
    const bool whole = number == std::floor(number) && std::fabs(number) < 1e15;
    const auto result =
        whole ? std::to_chars(buffer, buffer + sizeof buffer, number, std::chars_format::fixed, 0)
              : std::to_chars(buffer, buffer + sizeof buffer, number);
    m_text.append(buffer, result.ptr);
    m_done = m_levels.empty();
    return *this;
}

JsonWriter& JsonWriter::null() {
    beforeValue();
    m_text += "null";
    m_done = m_levels.empty();
    return *this;
}

std::string JsonWriter::text() const { return m_done ? m_text + "\n" : m_text; }

}  // namespace zelt::cli
