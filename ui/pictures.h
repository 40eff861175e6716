// The pictures of the windows: ui/pictures/NAME.svg, so that they are sharp at every size.
#pragma once

#include <QIcon>

namespace quenvar {

/// The picture of that name, without folder and ending. An empty icon when there is none.
QIcon Picture(const QString& name);

/// The program's icon: a name goes in, an address comes back.
QIcon ProgramIcon();

}  // namespace quenvar
