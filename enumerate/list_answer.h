// ListAnswer: the answer of every list action, written while its items come.
//
// The text is {"items":[...],"success":<flag>,"total":<number of items>},
// "success" left out when not given: the members in the order JsonCpp writes
// an object's keys, so that the bytes are those of a Json::Value holding the
// same answer. Items go out in pieces of about 64 KiB as they are added, so
// that a list of thousands of songs is never held whole.
#ifndef CANTORA_ENUMERATE_LIST_ANSWER_H
#define CANTORA_ENUMERATE_LIST_ANSWER_H

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/cgi/json_text.h"
#include "platform/cgi/webman.h"

class ListAnswer {
 public:
  // Writes the header with content_type; the body follows.
  ListAnswer(cantora::WebMan* web, const char* content_type);
  // The same answer led by "id": the number given, first as in JsonCpp's
  // key order ({"id":7,"items":[...],...}).
  ListAnswer(cantora::WebMan* web, const char* content_type, long id);
  ListAnswer(const ListAnswer&) = delete;
  ListAnswer& operator=(const ListAnswer&) = delete;

  // Where the JSON text of the next item goes: append exactly one value.
  std::string* NextItem();
  void Add(const Json::Value& item) { cantora::AppendJsonText(item, NextItem()); }

  // Adds count items written beforehand: items is their JSON text, the
  // values separated by commas, as NextItem would have made it.
  void AddWritten(std::string_view items, size_t count);

  // Ends the answer and hands it to the web server. Call it once, last.
  void Finish(std::optional<bool> success);

 private:
  cantora::PieceWriter pieces_;
  size_t total_ = 0;
};

#endif
