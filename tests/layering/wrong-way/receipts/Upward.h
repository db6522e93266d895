// The reader reaching up into the window that uses it.
#include "window/Window1.h"
