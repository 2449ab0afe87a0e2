// Fuzz target: the condition, grouping and order fragments that handlers
// compose from request text and the index translates into SQL. Whatever the
// text, translation either refuses it or yields SQL whose literals are all
// bound parameters; the sanitizers watch the parser itself.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/index/fragment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  for (cantora::IndexTable table : {cantora::IndexTable::kSong, cantora::IndexTable::kFolder}) {
    cantora::SqlPiece condition, order;
    std::string fts;
    if (cantora::TranslateCondition(text, table, &condition, &fts) &&
        condition.sql.find('\'') != std::string::npos)
      __builtin_trap();  // a literal reached the SQL text
    std::vector<std::string> columns;
    (void)cantora::ParseColumnList(text, table, &columns);
    (void)cantora::TranslateOrder(text, table, &order);
    (void)cantora::IsBlankFragment(text);
  }
  return 0;
}
