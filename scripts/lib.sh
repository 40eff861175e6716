# Shared by run, test and .ci/run: packages and quiet builds. Sourced with the project's folder as working directory.

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# need PACKAGE...: installs the Debian packages that are missing.
need() {
  local package missing=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} = 0 ] && return
  echo "Installing ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# need_without_service PACKAGE: the same for a package whose service would take port 53. It starts neither now nor with the
# machine. One that is there already stays as it is.
need_without_service() (
  is_installed "$1" && exit
  policy=/usr/sbin/policy-rc.d
  if [ ! -e "$policy" ]; then
    trap 'as_root rm -f "$policy"' EXIT
    printf '#!/bin/sh\nexit 101\n' | as_root install -m 755 /dev/stdin "$policy"
  fi
  need "$1"
  ! command -v systemctl >/dev/null || as_root systemctl --quiet disable "$1"
)

need_for_build() {
  need g++ cmake ninja-build qt6-base-dev qt6-tools-dev qt6-documentation-tools qt6-svg-dev libqt6sql6-sqlite \
    libxcb1-dev libsqlite3-dev fonts-wine fonts-liberation
}

# Runs a command as the owner of the project's folder, so that "sudo ./run" leaves nothing behind that only root may
# build upon.
as_owner() {
  local owner
  owner=$(stat -c %U .)
  if [ "$(id -u)" = 0 ] && [ "$owner" != root ]; then runuser -u "$owner" -- "$@"; else "$@"; fi
}

# build_in FOLDER TARGET [CMAKE OPTION]...: quiet when nothing has to be done.
build_in() {
  local folder=$1 target=$2
  shift 2
  if [ ! -e "$folder/build.ninja" ]; then
    echo "Building in $folder; this takes a minute or two"
    as_owner cmake -S . -B "$folder" -G Ninja "$@" >/dev/null
  fi
  as_owner ninja -C "$folder" --quiet "$target" > >(grep -v '^ninja: no work to do')
}
