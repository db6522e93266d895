// The window logic reaching for a widget by Qt's lower-case header.
#include <qwidget.h>
