#include "enumerate/enumerate.h"

// The doubled "icon_icon_" prefixes are the names the clients' icon sets use.
extern "C" const char* const grzRootMenu[][4] = {
    {"musiclib_music_all", "class_music_allmusic", "icon_audio_default_songs.png",
     "3rdparty/Cantora/images/_1x/audio_default_songs.png"},
    {"musiclib_music_file", "class_music_userfile", "icon_icon_folder_96.png",
     "3rdparty/Cantora/images/_1x/icon_folder_96.png"},
    {"musiclib_music_album", "class_music_album", "icon_icon_album_96.png",
     "3rdparty/Cantora/images/_1x/icon_album_96.png"},
    {"musiclib_music_aa", "class_music_artist", "icon_icon_artist_96.png",
     "3rdparty/Cantora/images/_1x/icon_artist_96.png"},
    {"musiclib_music_ca", "class_music_composer", "icon_icon_composer_96.png",
     "3rdparty/Cantora/images/_1x/icon_composer_96.png"},
    {"musiclib_music_genre", "class_music_genre", "icon_icon_genre_96.png",
     "3rdparty/Cantora/images/_1x/icon_genre_96.png"},
    {"musiclib_random", "random_playlist", "icon_icon_shuffle_96.png",
     "3rdparty/Cantora/images/_1x/icon_shuffle_96.png"},
    {"musiclib_music_latestalbum", "class_music_latestalbum", "icon_icon_recently_added_96.png",
     "3rdparty/Cantora/images/_1x/icon_recently_added_96.png"},
    {nullptr, nullptr, nullptr, nullptr},
};

extern "C" const char* const grzRadioItem[][4] = {
    {"inetradio_sc", "player_source_shoutcast", "icon_inetradio.png",
     "3rdparty/Cantora/images/_1x/icon_radio_96.png"},
    {"inetradio_userdefined", "player_source_userdefined", "icon_inetradio.png",
     "3rdparty/Cantora/images/_1x/icon_personal_playlist_96.png"},
    {"inetradio_favorite", "def_radio_station", "icon_inetradio.png",
     "3rdparty/Cantora/images/_1x/icon_favorite_96.png"},
    {nullptr, nullptr, nullptr, nullptr},
};
