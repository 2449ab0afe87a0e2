#include "platform/index/index_database.h"

#include "platform/config/platform_db.h"
#include "platform/index/sql_functions.h"

namespace cantora {

sqlite::Database* IndexDatabase() {
  sqlite::Database* db = PlatformDatabase();
  if (db == nullptr) return nullptr;
  static uint64_t prepared = 0;  // the connection set up, by generation
  if (prepared != PlatformDatabaseGeneration()) {
    if (!RegisterIndexFunctions(db->get())) return nullptr;
    // Reads pages with pread into the page cache, and sorts in memory. A
    // memory map costs a page fault per page first touched (about 20 us on
    // the virtual machines this runs on, against 2.5 us for a pread), and
    // the rows of a search or a long list lie scattered over the file. The
    // cache's pages come from the heap, which is on huge pages
    // (enumerate/huge_heap.cpp), and only grow as far as a query needs.
    db->Exec("PRAGMA mmap_size=0; PRAGMA temp_store=MEMORY; PRAGMA cache_size=-16000");
    prepared = PlatformDatabaseGeneration();
  }
  return db;
}

}  // namespace cantora
