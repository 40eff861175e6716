# Sourced by scripts that show or measure the whole program: a network on this machine that no other program sees.

# in_own_networks SCRIPT [ARGUMENT]...
# Runs the script as root of namespaces of its own, with an empty /tmp. The folder that it was called in is open there
# as descriptor 3. When this ends, in whatever way, everything that the script has started ends too and leaves nothing.
in_own_networks() {
  local user=()
  if ! can_unshare; then
    user=(unshare --user --map-root-user)
    if ! can_unshare "${user[@]}"; then
      echo "This needs networks of its own, which the kernel refuses here: run it as root, outside of a container." >&2
      return 1
    fi
  fi
  # A plain SIGTERM would be held back by unshare until the script has ended.
  trap 'kill -KILL "$inside" 2>/dev/null || true' EXIT
  trap 'exit 130' INT TERM HUP
  QUENVAR_OWN_NETWORKS=yes "${user[@]}" setpriv --pdeathsig KILL \
    unshare --net --mount --pid --fork --kill-child --mount-proc "$@" 3<. &
  inside=$!
  wait "$inside"
}

can_unshare() { "$@" unshare --net --mount --pid --fork --mount-proc true 2>/dev/null; }

inside_own_networks() { [ "${QUENVAR_OWN_NETWORKS:-}" = yes ]; }

# Lays a cable from here, 10.53.0.100, to a second network with the addresses 10.53.0.1 to 10.53.0.10.
make_networks() {
  mount -t tmpfs none /tmp
  unshare --net sleep infinity &
  upstream=$!
  until [ "$(readlink "/proc/$upstream/ns/net")" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.02; done
  ip link set lo up
  ip link add home0 type veth peer name up0 netns "$upstream"
  ip link set home0 up
  ip address add 10.53.0.100/24 dev home0
  in_upstream ip link set up0 up
  local server
  for server in {1..10}; do in_upstream ip address add 10.53.0.$server/24 dev up0; done
}

in_upstream() { nsenter --net="/proc/$upstream/ns/net" "$@"; }

# start_display [OPTION OF XVFB]...: starts a display that no one sees. Sets DISPLAY.
start_display() {
  mkfifo /tmp/display
  Xvfb -displayfd 4 -screen 0 1280x1024x24 -nolisten tcp "$@" 4>/tmp/display >/dev/null 2>&1 &
  read -r DISPLAY </tmp/display
  export DISPLAY=:$DISPLAY
}

# use_home PROGRAM: copies the program into an empty home. Its settings file is then $settings.
use_home() {
  export HOME=/tmp/home XDG_CONFIG_HOME=/tmp/home/config XDG_DATA_HOME=/tmp/home/data XDG_RUNTIME_DIR=/tmp/home/run
  export XDG_CONFIG_DIRS=/tmp/home/templates  # there are none
  export QT_QPA_PLATFORM=xcb DBUS_SESSION_BUS_ADDRESS=disabled:
  mkdir -p /tmp/program "$XDG_CONFIG_HOME" "$XDG_DATA_HOME"
  mkdir -m 700 "$XDG_RUNTIME_DIR"
  cp "$1" /tmp/program/quenvar
  settings=$XDG_CONFIG_HOME/QUENVAR.INI
}

# wait_for_port_53 PROCESS: false when the process ends first.
wait_for_port_53() {
  until grep -q ':0035 ' /proc/net/udp; do
    kill -0 "$1" 2>/dev/null || return 1
    sleep 0.02
  done
}

# show_page KEY: gives the program's window the keyboard and presses the key of a page.
show_page() {
  xdotool search --sync --onlyvisible --name '^Quenvar$' windowfocus --sync key --clearmodifiers "$1"
}
