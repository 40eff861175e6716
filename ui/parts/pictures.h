// The pictures of the windows, which are drawn anew at every size and so are sharp at each: ui/parts/pictures/NAME.svg.
#pragma once

#include <QIcon>
#include <algorithm>
#include <string_view>

#include "ui/parts/picture_names.h"

namespace quenvar {

/// The name of a picture, without folder and ending. One that does not exist does not compile.
class PictureName {
 public:
  consteval PictureName(const char* name) : name_(name) {
    if (std::ranges::find(kPictureNames, std::string_view(name)) == std::end(kPictureNames)) throw "no such picture";
  }
  const char* Text() const { return name_; }

 private:
  const char* name_;
};

QIcon Picture(PictureName name);

/// The program's icon: a name goes in, an address comes back.
QIcon ProgramIcon();

}  // namespace quenvar
