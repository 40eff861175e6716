// The pictures of the windows, drawn by the program itself so that they are sharp at every size.
#pragma once

#include <QIcon>

namespace quenvar {

/// The program's icon: a name goes in, an address comes back.
QIcon ProgramIcon();

}  // namespace quenvar
