// The window logic, which runs headless, reaching for a widget and for Qt's object.
#include <QWidget>
#include "QObject"
