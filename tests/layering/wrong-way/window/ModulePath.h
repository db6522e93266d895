// The window logic reaching for a widget by its module's folder.
#include <QtWidgets/QWidget>
