// cantora-admin covers prune: emptying the cover cache of unused files.
#include <cstdio>
#include <cstdlib>

#include "platform/media/cover/cover_prune.h"
#include "tools/admin/command.h"

namespace {

constexpr const char* kCoversUsage =
    "usage: cantora-admin covers prune [--days N]\n"
    "\n"
    "Removes from the cover cache the embedded pictures no indexed song shows\n"
    "any more (run it after 'cantora-admin index'), and the scaled covers not\n"
    "made nor read for N days (default 30): a scaled cover whose source changed\n"
    "is never read again. Prints how many files went.\n";

int RunCovers(const AdminArgs& args) {
  if (args.empty() || args[0] != "prune") return Fail("covers: unknown command (try --help)");
  long days = 30;
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] == "--days" && i + 1 < args.size()) {
      char* end = nullptr;
      days = std::strtol(args[++i].c_str(), &end, 10);
      if (*end != '\0' || days < 0 || args[i].empty())
        return Fail("covers prune: --days needs a number of days");
    } else {
      return Fail("covers prune: unknown argument " + args[i]);
    }
  }
  sqlite::Database db;
  if (!OpenAdminDatabase(&db)) return 1;
  cantora::CoverPruneSummary summary;
  std::string error;
  if (!cantora::PruneCoverCache(db, days, &summary, &error)) return Fail("covers prune: " + error);
  std::printf("%ld embedded pictures and %ld scaled covers removed\n", summary.embedded_removed,
              summary.scaled_removed);
  return 0;
}

AdminCommand covers_command("covers", "empty the cover cache of unused files", kCoversUsage,
                          RunCovers);

}  // namespace
