// The songs of a smart playlist. Not served by this build yet: the action
// answers nothing, as an unknown action does.
#include "enumerate/enumerate.h"

void EnumerationHandler::SmartPlsSongEnum() {}
