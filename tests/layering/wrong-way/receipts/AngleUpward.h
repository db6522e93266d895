// The reader reaching up into the window, in angle brackets.
#include <window/Window1.h>
