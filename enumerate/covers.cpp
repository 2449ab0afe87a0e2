// Cover images. Not served by this build yet: these actions answer nothing,
// as an unknown action does.
#include "enumerate/enumerate.h"

void EnumerationHandler::GetCover() {}
void EnumerationHandler::GetCoverForFolder() {}
void EnumerationHandler::GetCoverForAlbum() {}
