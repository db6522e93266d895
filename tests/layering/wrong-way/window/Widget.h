// The window logic, which runs headless, reaching for a widget.
#include <QWidget>
