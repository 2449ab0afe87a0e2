// A list answer written as its items come is the text JsonCpp would write for
// the whole answer held at once.
#include "enumerate/list_answer.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/unit/json_reference.h"

namespace {

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
    EXPECT_EQ(Expected(none, success), WrittenListAnswer([](ListAnswer*) {}, success));
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
            WrittenListAnswer([&](ListAnswer* a) { AddAll(items, a); }, true));
}

// Items written beforehand (a kept list of names) read as if added one by
// one, short texts and long ones, alone or among items added singly.
TEST(ListAnswer, ItemsWrittenBeforehand) {
  for (int count : {1, 3, 2000}) {
    Json::Value items(Json::arrayValue);
    std::string written;
    for (int i = 0; i < count; ++i) {
      Json::Value name(Json::objectValue);
      name["name"] = "Name \"" + std::to_string(i) + "\" é";
      items.append(name);
      if (i > 0) written += ',';
      written += JsonCppText(name);
    }
    EXPECT_EQ(Expected(items, true), WrittenListAnswer([&](ListAnswer* a) {
                a->AddWritten("", 0);
                a->AddWritten(written, count);
              }, true)) << count;
    Json::Value around(Json::arrayValue);
    around.append("first");
    for (const Json::Value& item : items) around.append(item);
    around.append(7);
    EXPECT_EQ(Expected(around, std::nullopt), WrittenListAnswer([&](ListAnswer* a) {
                a->Add("first");
                a->AddWritten(written, count);
                a->AddWritten("", 0);
                a->Add(7);
              }, std::nullopt)) << count;
  }
}

// The smart playlist songs' answer: "id" leads, as in JsonCpp's key order.
TEST(ListAnswer, LedById) {
  Json::Value items(Json::arrayValue);
  items.append(Json::Value(Json::objectValue))["id"] = 12u;
  for (long id : {0L, 7L, -3L, 9223372036854775807L}) {
    Json::Value answer(Json::objectValue);
    answer["id"] = Json::Int64(id);
    answer["items"] = items;
    answer["success"] = true;
    answer["total"] = items.size();
    EXPECT_EQ("Content-Type: text/plain; charset=\"UTF-8\"\r\n\r\n" + JsonCppText(answer),
              WrittenListAnswer([&](ListAnswer* a) { AddAll(items, a); }, true, id));
  }
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
  std::string written = WrittenListAnswer([&](ListAnswer* a) { AddAll(items, a); }, std::nullopt);
  EXPECT_GT(written.size(), 10u * 64 * 1024);
  EXPECT_EQ(Expected(items, std::nullopt), written);
}

// NextItem takes any text a writer appends: the separators are the answer's.
TEST(ListAnswer, ItemsWrittenAsText) {
  Json::Value items(Json::arrayValue);
  items.append("a");
  items.append("b");
  std::string written = WrittenListAnswer(
      [](ListAnswer* a) {
        a->NextItem()->append("\"a\"");
        a->NextItem()->append("\"b\"");
      },
      false);
  EXPECT_EQ(Expected(items, false), written);
}

}  // namespace
