#include "json/json_writer.h"

#include <gtest/gtest.h>

#include <string>

namespace elfload {
namespace {

// What `write` writes.
template <typename Write>
std::string Written(Write write) {
  std::string text;
  {
    Output out(text);
    JsonWriter json(out);
    write(json);
  }
  return text;
}

TEST(JsonWriter, TextIsUtf8OrASingleCharacterPerByte) {
  const struct {
    const char* what;
    std::string text, json;
  } facts[] = {
      {"escapes", "a\"b\\c\n\x01\x7F", "a\\\"b\\\\c\\n\\u0001\x7F"},
      {"two to four bytes", "gr\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80", "gr\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"bounds", "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF",
       "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF"},
      {"one byte alone makes all single", "\xC3\xBC\xFC", "\xC3\x83\xC2\xBC\xC3\xBC"},
      {"cut short", "a\xE2\x82", "a\xC3\xA2\xC2\x82"},
      {"long form", "\xC0\xAF", "\xC3\x80\xC2\xAF"},
      {"long form of three", "\xE0\x9F\xBF", "\xC3\xA0\xC2\x9F\xC2\xBF"},
      {"surrogate", "\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xC2\x80"},
      {"above U+10FFFF", "\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xC2\x80\xC2\x80"},
      {"0xFF", "\xFF\"", "\xC3\xBF\\\""},
  };
  for (const auto& fact : facts) {
    EXPECT_EQ(Written([&](JsonWriter& json) { json.Text(std::string_view(fact.text)); }), '"' + fact.json + '"')
        << fact.what;
  }
  EXPECT_EQ(Printable("gr\xC3\xBC\xC3\x9F"), "gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(Printable("a\x1B[31mb\n"), "a\\x1B[31mb\\x0A") << "terminals are out of reach";
  EXPECT_EQ(Printable("\xFC\xC3\xBC\xED\xA0\x80"), "\\xFC\xC3\xBC\\xED\\xA0\\x80");
  // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what is tested
  EXPECT_EQ(Printable("\x7F\xC2\x9B\xE2\x80\xAE\xE2\x80\xA8\xD8\x9C\xF0\x9F\x98\x80"),
            "\\x7F\\u009B\\u202E\\u2028\\u061C\xF0\x9F\x98\x80");
  const std::string name = "\xC3\xBC" + std::string(999, 'x');
  EXPECT_EQ(PrintableName(name.c_str()), name);
  EXPECT_EQ(PrintableName((name + "yz").c_str()), name + "...");
}

}  // namespace
}  // namespace elfload
