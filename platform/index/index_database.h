// The connection the music index is read on.
#ifndef CANTORA_PLATFORM_INDEX_INDEX_DATABASE_H
#define CANTORA_PLATFORM_INDEX_INDEX_DATABASE_H

#include "platform/lib/sqlite/database.h"

namespace cantora {

// The platform database ready for the index's queries (browse.h): the
// index's functions registered, read settings made, once per connection;
// null when it cannot be opened.
sqlite::Database* IndexDatabase();

}  // namespace cantora

#endif
