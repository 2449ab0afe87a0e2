// The platform's cover images: where the image of a song or folder is.
//
// Each function writes a path into dest (size bytes) and returns 0, or
// returns non-zero and leaves dest alone. Every path handed in is admitted
// by the request's CoverScope first (cover_scope.h): a song or folder that
// is not in the signed-in user's libraries, or a link out of them, finds no
// cover. The
// paths handed out are files of the cover cache (cover_cache.h), made
// readable by the web server's user, so that X-Sendfile can serve them.
//
// Covers are always delivered scaled: a picture never reaches a client
// larger than the configured size (cover_size, 600 px by default), and a
// file that does not decode (corrupt, truncated, not an image) is no cover.
#ifndef CANTORA_PLATFORM_MEDIA_COVER_COVER_PATHS_H
#define CANTORA_PLATFORM_MEDIA_COVER_COVER_PATHS_H

#include <cstddef>

namespace cantora {
class CoverScope;
}  // namespace cantora

// The picture embedded in a song, as the indexer extracted it (the front
// cover when the song has several), in its scaled form.
int ZARNAudioGetEmbeddedCoverPath(const cantora::CoverScope& scope, const char* song_path,
                                  char* dest, size_t size);

// The cover image file of a folder: for a song, the song's folder; for a
// folder, the folder itself. The first existing name, compared without
// regard to capitals, of
//
//   cover, folder, front, albumart, album   (in this order of preference)
//   each with .jpg, .jpeg, .png, .webp      (in this order)
//
// so cover.png beats folder.jpg, and Cover.JPG is found as cover.jpg. Two
// names differing only in capitals are taken in byte order. The path
// written is the image's real path (not yet scaled).
int ZARNAudioGetFolderCoverPath(const cantora::CoverScope& scope, const char* path, char* dest,
                                size_t size);

// The scaled copy of a cover image (a folder image, or an embedded picture
// of the cache): at most cover_size pixels on its longest side, never
// enlarged; JPEG, or PNG when the picture has transparency; a JPEG or PNG
// already small enough is copied unchanged. Made on first demand by the
// helper cantora-cover-scale, then reused until the source changes. source2
// is accepted for the callers' sake and must name the same file.
int ZARNAudioGetScaleCoverPath(const cantora::CoverScope& scope, const char* source,
                               const char* source2, char* dest, size_t size);

namespace cantora {

// The helper program that makes scaled copies.
extern const char* const kCoverScaleProgram;

}  // namespace cantora

#endif
