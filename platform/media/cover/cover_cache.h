// The cover cache: image files the platform makes and may remake at any time.
//
//   <cache>/covers/embedded/<2 hex>/<64 hex>   a picture embedded in songs,
//        byte for byte as the file holds it, named by the BLAKE2b-256 of its
//        bytes: every song that carries the same picture shares one file.
//        Written by the indexer.
//   <cache>/covers/scaled/<2 hex>/<64 hex>     a cover brought down to the
//        configured size (JPEG, or PNG when it has transparency), named by
//        the hash of its source's real path, device, inode, size and
//        modification time and the size asked for: a source that changes
//        gets a new name, so a stale copy is never served. Written by
//        cantora-cover-scale on first demand.
//
// Every file is written to a temporary name in its folder and renamed into
// place: a reader sees the whole file or none. Folders and files are owned
// like <cache> itself (the web server's user), also when root writes them.
#ifndef CANTORA_PLATFORM_MEDIA_COVER_COVER_CACHE_H
#define CANTORA_PLATFORM_MEDIA_COVER_COVER_CACHE_H

#include <sys/stat.h>

#include <string>
#include <string_view>

namespace cantora {

// <cache>/covers and its two parts, without a trailing slash.
std::string CoverCacheFolder();
std::string EmbeddedCoverFolder();
std::string ScaledCoverFolder();

// The path of the embedded picture of that name (64 hex digits).
std::string EmbeddedCoverPath(const std::string& name);

// The path of the scaled copy of the source whose real path and stat are
// given, at max_side pixels.
std::string ScaledCoverPath(const std::string& real_source, const struct stat& source,
                            long max_side);

// The configured longest side of a scaled cover (at least 16).
long CoverMaxSide();

// Makes the folders above path that are missing, from <cache> down, each
// owned like <cache>. False with one line in *error.
bool MakeCoverCacheFolders(const std::string& path, std::string* error);

// Writes bytes to path through a temporary file and a rename, mode 0644,
// owned like <cache>. False with one line in *error (path untouched).
bool WriteCoverCacheFile(const std::string& path, std::string_view bytes, std::string* error);

// Stores an embedded picture under its content name (set in *name); a
// picture already there is not written again.
bool StoreEmbeddedCover(std::string_view bytes, std::string* name, std::string* error);

}  // namespace cantora

#endif
