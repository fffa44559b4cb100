// Qt's own Russian texts: the standard buttons of the boxes ("Да", "Нет", "Отмена"), the file
// and print dialogs, the context menus of the edit fields. They come from the Qt installation
// (qtbase_ru.qm in its translations folder, Debian package qt6-translations-l10n).
#pragma once

class QCoreApplication;

namespace td {

// Installs the translation into `app`, with the few texts of the file dialog it lacks. False
// when the installation has none: the toolkit's texts then stay English, and nothing else
// changes.
bool Install_Qt_Russian(QCoreApplication& app);

// Before the application object is made: dates, months and sizes in Russian wherever the
// widgets format them, also where they take the system's locale rather than the default one
// (the file dialog's columns). Numbers of the C library stay as they are.
void Use_Russian_Locale();

} // namespace td
