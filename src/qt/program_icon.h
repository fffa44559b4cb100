// The program's own icon, a fuel coupon with a fuel drop, drawn from the SVG in the resources.
#pragma once

class QIcon;

namespace td {

// The icon at the sizes window frames, task bars and the MDI children's title bars ask for.
const QIcon& Program_Icon();

// Every window of the program, the main window, its children and its dialogs, carries the icon
// from now on. Needs the application object.
void Use_Program_Icon();

} // namespace td
