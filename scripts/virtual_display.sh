# Sourced by run: a display for a machine that has none.

# Starts a private virtual display and sets DISPLAY and XAUTHORITY to it. It ends with the calling script.
start_virtual_display() {
  need xvfb xauth
  virtual_display_folder=$(mktemp -d)
  export XAUTHORITY=$virtual_display_folder/authority
  # The display takes the cookie whatever number stands beside it; its own number is known only once it runs.
  local cookie number
  cookie=$(mcookie)
  touch "$XAUTHORITY"
  xauth -q add :0 . "$cookie"
  mkfifo "$virtual_display_folder/number"
  # In a session of its own: Ctrl+C reaches the whole group of this script, and the display has to outlive the program.
  setsid Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -noreset -auth "$XAUTHORITY" \
    3>"$virtual_display_folder/number" >/dev/null 2>&1 &
  virtual_display_process=$!
  if ! read -r number <"$virtual_display_folder/number"; then
    echo "The virtual display (Xvfb) could not be started." >&2
    exit 1
  fi
  xauth -q add ":$number" . "$cookie"
  export DISPLAY=:$number
}

stop_virtual_display() {
  [ -n "${virtual_display_process:-}" ] || return 0
  kill "$virtual_display_process" 2>/dev/null || true
  rm -rf "$virtual_display_folder"
}

describe_virtual_display() {
  cat <<TEXT
There is no display here, so the window opens on the virtual display $DISPLAY. To see it, in another terminal:
  a picture:      XAUTHORITY=$XAUTHORITY import -display $DISPLAY -window root quenvar.png   (package imagemagick)
  the live view:  XAUTHORITY=$XAUTHORITY x11vnc -localhost -display $DISPLAY                 (package x11vnc)
                  and a VNC viewer on localhost:5900
Ctrl+C ends the program in order.
TEXT
}
