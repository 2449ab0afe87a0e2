// The answer writer gives the very text of JsonCpp's compact writer.
#include <gtest/gtest.h>

#include "platform/cgi/json_text.h"
#include "tests/unit/json_reference.h"

namespace {

std::string Ours(const Json::Value& v) {
  std::string out;
  cantora::AppendJsonText(v, &out);
  return out;
}

TEST(JsonText, SameTextAsJsonCpp) {
  Json::Value v(Json::objectValue);
  static const char kText[] = "q\"b\\s/\b\f\n\r\t\x01\x1f\x7f \xC3\xA9 \xE6\x97\xA5 \xFF\xFE";
  v["s"] = std::string(kText, sizeof kText - 1);
  v["n"] = Json::Value();
  v["i"] = -42;
  v["u"] = Json::Value(Json::UInt64(18446744073709551615ull));
  v["b"] = true;
  v["f"] = false;
  v["r"] = 0.1;
  v["empty_a"] = Json::Value(Json::arrayValue);
  v["empty_o"] = Json::Value(Json::objectValue);
  v["a"].append(1);
  v["a"].append("x");
  v["a"].append(Json::Value(Json::objectValue))["k"] = "v";
  v[std::string("nul\0key", 7)] = std::string("nul\0value", 9);
  EXPECT_EQ(Ours(v), JsonCppText(v));
}

TEST(JsonText, LargeList) {
  Json::Value items(Json::arrayValue);
  for (int i = 0; i < 1000; ++i) {
    Json::Value item(Json::objectValue);
    item["path"] = "/music/" + std::to_string(i) + ".mp3";
    item["covercount"] = i;
    items.append(std::move(item));
  }
  EXPECT_EQ(Ours(items), JsonCppText(items));
}

}  // namespace

namespace {

TEST(JsonText, WrittenInPiecesSameText) {
  Json::Value answer(Json::objectValue);
  Json::Value& items = answer["items"];
  for (int i = 0; i < 5000; ++i) items.append("song number " + std::to_string(i) + " \"quoted\"");
  answer["total"] = 5000;
  char* text = nullptr;
  size_t size = 0;
  FILE* file = open_memstream(&text, &size);
  cantora::WriteJsonText(answer, file);
  std::fclose(file);
  EXPECT_EQ(std::string(text, size), JsonCppText(answer));
  free(text);
}

}  // namespace
