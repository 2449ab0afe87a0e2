// The folder listing's conditions, matched by folder identity.
//
// Folder browsing writes folder paths into LIKE templates as they are:
//
//   " path LIKE '<P>/%' AND path NOT LIKE '<P>/%/%' "   one level below P
//   "path like '<P>/%' and path not like '<P>/%/%' "    the same, lower case
//   "path like '<P>/%' "                                everything below P
//   "<roots condition> OR path LIKE '<Q>' "             the roots and folder Q
//
// where <roots condition> is "path IN ('<R1>', '<R2>', ...)" as
// AudioFile::GetFolderInIndexedFolderCondition writes it (quotes doubled).
// Read as patterns these go wrong for real folder names: a quote ends the
// literal, '%' and '_' are wildcards that reach sibling folders ("a_b" also
// matches "aXb"), and a backslash escapes the character after it. So the
// index recognises these exact shapes before any parsing and takes P, Q and
// the R's as literal paths:
//
//   one level below P   folder records whose parent is the record of P, or
//                       songs whose folder is the record of P;
//   everything below P  paths that begin with P + "/" (a range of the path
//                       index: P + "/" <= path < P + "0");
//   roots and Q         records whose path is one of the R's or Q.
//
// A text of any other shape is left to the general translator. Recognition
// never widens anything: the paths become bound values, and the query's
// library scope applies as always.
//
// The shapes are recognised in the text, not in its parsed tree: the paths
// are pasted in unquoted, so a folder named "O'Neil" makes a text that the
// grammar reads differently or refuses. What is recognised becomes the
// query's folder nodes (query.h: ChildrenOf, Below, PathIn), which the
// platform builds directly where it asks for folders itself.
#ifndef CANTORA_PLATFORM_INDEX_FOLDER_CONDITION_H
#define CANTORA_PLATFORM_INDEX_FOLDER_CONDITION_H

#include <string_view>

#include "platform/index/query.h"
#include "platform/index/query_sql.h"

namespace cantora {

// The folder nodes of condition when it has one of the shapes above, else
// null.
ExprPtr RecognizeFolderCondition(std::string_view condition);

// When condition has one of the shapes above, appends its translation for
// table (a parenthesised SQLite expression with bound values) to out and
// returns true; otherwise leaves out alone and returns false.
bool TranslateFolderCondition(std::string_view condition, IndexTable table, SqlPiece* out);

}  // namespace cantora

#endif
