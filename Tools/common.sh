# Shared by the commands at the top of the tree: what they need, and how they build. Sourced, not run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${KELVANE_BUILD:-$root/build}

# Debian 12 and 13 name these alike.
build_packages=(
    ca-certificates cmake ninja-build ccache pkg-config clang-19 lld-19
    qt6-base-dev qt6-declarative-dev qt6-svg-dev qcoro-qt6-dev
    libavformat-dev libavcodec-dev libavfilter-dev libavutil-dev libswscale-dev libswresample-dev
    libzimg-dev libpulse-dev libxcb1-dev nlohmann-json3-dev libfmt-dev libutf8proc-dev libssl-dev
)
run_packages=(
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts qml6-module-qtquick-templates
    qml6-module-qtquick-window qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
    # Reads the icons.
    libqt6svg6
    # Opens links: the command that brings a person back to a project, and desktop assistants. The other two tell the
    # desktop which program that is.
    xdg-utils desktop-file-utils shared-mime-info
    # The window's face. Names in other scripts, and desktops without it, have the ones below.
    fonts-inter
    # Faces of the text on inspection pictures: Helvetica's measures, then names in any script, and emoji.
    fonts-liberation fonts-dejavu-core fonts-noto-core fonts-wqy-microhei fonts-noto-color-emoji
)
# Debian 13 packs apart what reads a menu's icons.
if (. /etc/os-release && [ "${VERSION_ID:-0}" -ge 13 ] 2>/dev/null); then run_packages+=(qt6-svg-plugins); fi
# pulseaudio is the tests' own sound server, xvfb their display, on which libxcb presses keys and sees what is shown;
# dbus-daemon and at-spi2-core are the session in which they read what a reader of the screen does; appstream and
# libxml2-utils check what the desktop is told.
test_packages=(libgtest-dev libgmock-dev ffmpeg jq python3 socat pulseaudio xvfb libxcb-xtest0-dev
    dbus-daemon at-spi2-core appstream libxml2-utils)
# Chooses the few colours with which the pictures of the window are kept.
screen_packages=(pngquant)
sanitizer_packages=(libclang-rt-19-dev)

say() { printf '\033[1m%s\033[0m\n' "$*"; }

# Installs those of the packages that are not installed yet, as root or with sudo.
install_missing() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "These packages are missing, and there is no sudo: ${missing[*]}" >&2; exit 1; }
        as_root=(sudo)
    fi
    say "Installing ${#missing[@]} missing packages"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# configure <folder> [cmake options]
configure() {
    local folder=$1
    shift
    # A folder that another tree or compiler configured is made anew.
    CXX=clang++-19 cmake -S "$root" -B "$folder" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
        -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld -DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=lld "$@" >"$folder.log" 2>&1 ||
        { cat "$folder.log" >&2; exit 1; }
    rm -f "$folder.log"
}
