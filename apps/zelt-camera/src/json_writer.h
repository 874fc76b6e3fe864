// A small JSON writer for the tool's documents: members in the order they are written,
// indented by two blanks.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelt::cli {

/// Builds one JSON document as text. Calls must nest properly (beginObject/endObject,
/// beginArray/endArray; inside an object every value follows a key); misuse throws
/// std::logic_error. Strings are written as UTF-8: invalid byte sequences (a device name is
/// whatever its driver says) become U+FFFD, control characters are escaped.
class JsonWriter {
public:
    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    JsonWriter& key(std::string_view name);

    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(const std::string& text) { return value(std::string_view(text)); }
    JsonWriter& value(bool flag);
    JsonWriter& value(std::int64_t number);
    JsonWriter& value(std::uint64_t number);
    JsonWriter& value(std::uint32_t number) { return value(static_cast<std::uint64_t>(number)); }
    JsonWriter& value(int number) { return value(static_cast<std::int64_t>(number)); }
    /// The shortest text that reads back as the same double; NaN and infinities as null.
    JsonWriter& value(double number);
    JsonWriter& null();
    /// A value, or null when there is none.
    template <typename T>
    JsonWriter& value(const std::optional<T>& maybe) {
        return maybe ? value(*maybe) : null();
    }

    /// The document so far, with a final line break once the outermost value is closed.
    std::string text() const;

    /// `text` as a JSON string literal, quotes included.
    static std::string quote(std::string_view text);

private:
    struct Level {
        bool object;
        std::size_t count = 0;
        bool key_written = false;
    };

    void beforeValue();
    void newline();

    std::string m_text;
    std::vector<Level> m_levels;
    bool m_done = false;
};

}  // namespace zelt::cli
