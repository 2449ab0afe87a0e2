#include "platform/index/facets.h"

#include <string>


namespace cantora {
namespace {

const FacetDefinition kFacets[] = {
    {kFacetArtist, "artist",
     "min(lower(CASE WHEN artist_sort <> '' THEN artist_sort ELSE artist END))"},
    {kFacetAlbum, "album", "lower(album)"},
    {kFacetGenre, "genre", "lower(genre)"},
};

}  // namespace

const FacetDefinition* FacetForColumn(std::string_view column) {
  for (const FacetDefinition& f : kFacets) {
    if (column == f.column) return &f;
  }
  return nullptr;
}

const FacetDefinition& FacetOfKind(FacetKind kind) {
  for (const FacetDefinition& f : kFacets) {
    if (f.kind == kind) return f;
  }
  return kFacets[0];
}

bool RebuildFacets(sqlite::Database& db) {
  std::string sql = "DELETE FROM facet;";
  for (const FacetDefinition& f : kFacets) {
    std::string column = f.column;
    sql += "INSERT INTO facet(kind, library, value, sort_key, newest, songs) SELECT " +
           std::to_string(f.kind) + ", library, " + column + ", " + f.sort_key_sql +
           ", max(create_date), count(*) FROM song GROUP BY library, " + column + ";";
  }
  // Fresh statistics let the planner see that a library holds many songs
  // and an artist few, so that it reaches for the (library, artist) indexes;
  // a sample of each index is enough for that.
  sql += "UPDATE index_state SET facets_stale = 0;";
  sql += "PRAGMA analysis_limit=1000; ANALYZE song; ANALYZE folder; ANALYZE facet;";
  return db.Exec(sql);
}

bool MarkFacetsStale(sqlite::Database& db) {
  return db.Exec("UPDATE index_state SET facets_stale = 1");
}

bool FacetsCurrent(sqlite::Database& db) {
  sqlite::Statement st = db.PrepareKept("SELECT facets_stale FROM index_state");
  return !st.IsValid() || st.Step() != SQLITE_ROW || st.Int(0) == 0;
}

}  // namespace cantora
