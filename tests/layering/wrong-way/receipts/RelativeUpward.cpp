// The reader reaching up into the window by relative paths, and out of the tree altogether.
#include "../../outside/Window1.h"
#include "../window/Window1.h"
#include "detail/../../window/Window1.h"
