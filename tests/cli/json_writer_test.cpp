#include "json_writer.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace zelt::cli {
namespace {

TEST(JsonWriterTest, WritesMembersInOrderIndentedByTwoBlanks) {
    JsonWriter json;
    json.beginObject();
    json.key("name").value("Cam A");
    json.key("id").value(0);
    json.key("list").beginArray().value(true).null().endArray();
    json.key("empty").beginObject().endObject();
    json.endObject();
    EXPECT_EQ(json.text(),
              "{\n"
              "  \"name\": \"Cam A\",\n"
              "  \"id\": 0,\n"
              "  \"list\": [\n"
              "    true,\n"
              "    null\n"
              "  ],\n"
              "  \"empty\": {}\n"
              "}\n");
}

TEST(JsonWriterTest, EscapesQuotesBackslashesAndControlCharacters) {
    EXPECT_EQ(JsonWriter::quote("a\"b\\c\nd\te\x01"), "\"a\\\"b\\\\c\\nd\\te\\u0001\"");
    EXPECT_EQ(JsonWriter::quote("caf\xc3\xa9"), "\"caf\xc3\xa9\"");
}

TEST(JsonWriterTest, ReplacesInvalidUtf8) {
    EXPECT_EQ(JsonWriter::quote("a\xff"
                                "b"),
              "\"a\xef\xbf\xbd"
              "b\"");
}

TEST(JsonWriterTest, WritesNumbersExactlyAndNonFiniteAsNull) {
    JsonWriter json;
    json.beginArray();
    json.value(1e7).value(29.99996730340642).value(0.1).value(std::uint64_t{18446744073709551615u});
    json.value(std::numeric_limits<double>::quiet_NaN())
        .value(-std::numeric_limits<double>::infinity());
    json.endArray();
    EXPECT_EQ(json.text(),
              "[\n  10000000,\n  29.99996730340642,\n  0.1,\n  18446744073709551615,\n  null,\n"
              "  null\n]\n");
}

TEST(JsonWriterTest, OptionalValuesBecomeNullWhenAbsent) {
    JsonWriter json;
    json.beginObject();
    json.key("a").value(std::optional<std::string>());
    json.key("b").value(std::optional<std::uint32_t>(7));
    json.endObject();
    EXPECT_EQ(json.text(), "{\n  \"a\": null,\n  \"b\": 7\n}\n");
}

TEST(JsonWriterTest, MisuseThrows) {
    JsonWriter value_without_key;
    value_without_key.beginObject();
    EXPECT_THROW(value_without_key.value(1), std::logic_error);
    JsonWriter unbalanced;
    unbalanced.beginArray();
    EXPECT_THROW(unbalanced.endObject(), std::logic_error);
    JsonWriter key_in_array;
    key_in_array.beginArray();
    EXPECT_THROW(key_in_array.key("x"), std::logic_error);
}

}  // namespace
}  // namespace zelt::cli
