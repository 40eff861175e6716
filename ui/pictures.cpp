#include "ui/pictures.h"

namespace quenvar {

QIcon Picture(const QString& name) { return QIcon(":/pictures/" + name + ".svg"); }

QIcon ProgramIcon() { return Picture("program"); }

}  // namespace quenvar
