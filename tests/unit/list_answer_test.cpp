// A list answer written as its items come is the text JsonCpp would write for
// the whole answer held at once.
#include "enumerate/list_answer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>

namespace {

std::string JsonCppText(const Json::Value& v) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, v);
}

// What the answer wrote: header and body.
std::string Written(const std::function<void(ListAnswer*)>& fill, std::optional<bool> success) {
  char* body = nullptr;
  size_t size = 0;
  FILE* out = open_memstream(&body, &size);
  cantora::WebMan web = cantora::WebMan::FromParts("GET", "", "", "", "", 0);
  web.SetOutput(out);
  {
    ListAnswer answer(&web, "text/plain; charset=\"UTF-8\"");
    fill(&answer);
    answer.Finish(success);
  }
  std::fclose(out);
  std::string text(body, size);
  std::free(body);
  return text;
}

// The same answer built whole as a Json::Value.
std::string Expected(const Json::Value& items, std::optional<bool> success) {
  Json::Value answer(Json::objectValue);
  if (success) answer["success"] = *success;
  answer["items"] = items;
  answer["total"] = items.size();
  return "Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n" + JsonCppText(answer);
}

void AddAll(const Json::Value& items, ListAnswer* answer) {
  for (const Json::Value& item : items) answer->Add(item);
}

TEST(ListAnswer, EmptyWithAndWithoutSuccess) {
  Json::Value none(Json::arrayValue);
  for (std::optional<bool> success : {std::optional<bool>(), std::optional<bool>(true),
                                      std::optional<bool>(false)}) {
    EXPECT_EQ(Expected(none, success), Written([](ListAnswer*) {}, success));
  }
}

TEST(ListAnswer, ItemsOfEveryKind) {
  Json::Value items(Json::arrayValue);
  items.append("title");
  items.append(Json::Value(Json::objectValue))["title"] = "Ωμέγα \"quoted\"\n";
  items.append(7);
  items.append(Json::Value());
  items.append(Json::Value(Json::arrayValue));
  EXPECT_EQ(Expected(items, true),
            Written([&](ListAnswer* a) { AddAll(items, a); }, true));
}

// Long enough to go out in many pieces.
TEST(ListAnswer, ManyPieces) {
  Json::Value items(Json::arrayValue);
  for (int i = 0; i < 20000; ++i) {
    Json::Value item(Json::objectValue);
    item["path"] = "/music/" + std::to_string(i) + ".mp3";
    item["covercount"] = i;
    items.append(item);
  }
  std::string written = Written([&](ListAnswer* a) { AddAll(items, a); }, std::nullopt);
  EXPECT_GT(written.size(), 10u * 64 * 1024);
  EXPECT_EQ(Expected(items, std::nullopt), written);
}

// NextItem takes any text a writer appends: the separators are the answer's.
TEST(ListAnswer, ItemsWrittenAsText) {
  Json::Value items(Json::arrayValue);
  items.append("a");
  items.append("b");
  std::string written = Written(
      [](ListAnswer* a) {
        a->NextItem()->append("\"a\"");
        a->NextItem()->append("\"b\"");
      },
      false);
  EXPECT_EQ(Expected(items, false), written);
}

}  // namespace
