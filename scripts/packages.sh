# shellcheck shell=bash disable=SC2034
# SPDX-License-Identifier: Apache-2.0
# What the commands of this directory need of the machine: Debian packages, and ccache where it is there. Sourced by them
# at the project's root. docs/dependencies.md says what each is for; a test compares the two.

if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR=$PWD # what another clone compiled counts
fi

# Of the programs that scripts/demo shows; of the panel; and of all that is built.
demo_packages=(
    g++ cmake ninja-build pkg-config libjsoncpp-dev libglib2.0-dev libsqlite3-dev libsystemd-dev
    libcli11-dev libpcap0.8-dev libsmartcols-dev dbus-daemon python3-minimal
)
panel_packages=(libsoup-3.0-dev libarchive-dev)
build_packages=("${demo_packages[@]}" "${panel_packages[@]}" python3-cffi python3-dev)
test_packages=(
    libgtest-dev libgmock-dev libbenchmark-dev clang clang-format clang-tidy libclang-rt-14-dev git
    libglib2.0-bin systemd python3 python3-debian python3-jsonschema shellcheck abigail-tools mandoc doxygen strace gcovr spin
    qtbase5-dev groff-base
    dbus-broker zsh fish jq sqlite3 mosquitto-clients libwrap0 libdlt2
    python3-pytest python3-jeepney python3-dbusmock python3-gi mypy
)
# Of packages that would also run a server on this machine, these programs are unpacked into build/programs.
test_programs=(mosquitto:usr/sbin/mosquitto prometheus:usr/bin/promtool)
# For the panel's page: a browser that a test drives, and a font for it.
browser_packages=(chromium chromium-driver fonts-dejavu-core)
# For what npm brings (tests/panel/package.json), where there is no npm, such as that of another nodejs.
npm_packages=(nodejs npm)
packaging_packages=(build-essential debhelper dh-python dpkg-dev doxygen fakeroot git lintian mmdebstrap autopkgtest)
armhf_packages=(mmdebstrap g++-arm-linux-gnueabihf qemu-user-static util-linux)
armhf_full_packages=(qemu-system-arm kmod cpio e2fsprogs)
# What is on the emulated machine: a kernel, a shell, what the programs are linked with and what the tests run.
armhf_machine_packages=(
    linux-image-armmp base-files base-passwd bash coreutils dash findutils grep sed gawk procps util-linux mount libc-bin
    busybox-static cmake dbus-daemon libglib2.0-bin systemd python3 python3-jsonschema git
    libjsoncpp25 libsqlite3-0 libsystemd0 libpcap0.8 libsmartcols1 kmod v4l-utils
)

vm_packages=(
    build-essential debhelper dh-python dpkg-dev fakeroot mmdebstrap qemu-system-x86 qemu-utils kmod cpio e2fsprogs
)
# For one of 32-bit ARM.
vm_armhf_packages=(qemu-system-arm qemu-user-static arch-test)
# What is on the television in a virtual machine, beside the packages that are tested and, of one architecture, a kernel.
vm_kernel_packages=(busybox-static)
vm_machine_packages=(
    systemd-sysv udev dbus kmod procps v4l-utils
    libglib2.0-0 libglib2.0-bin libjsoncpp25 libsqlite3-0 libsystemd0 libpcap0.8 libsmartcols1
)
# What is on the clean system onto which scripts/test-install installs.
install_machine_packages=(
    dbus systemd util-linux login passwd libjsoncpp25 libsqlite3-0 libglib2.0-0 libsystemd0 libpcap0.8 libsmartcols1
)

# The apt sources of this machine's Debian, main and updates, one line each, for another root directory.
debian_sources() {
    # shellcheck disable=SC2016  # the fields are apt's to expand
    apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' 'Origin: Debian' 'Component: main' | grep -v -e '-security ' | sort -u
}

# The tracked files as a Debian source tree in DIRECTORY, independent of the umask that they were checked out with.
debian_source_tree() {
    local tree=$1
    mkdir -p "$tree"
    git ls-files -z | tar -c --null -T - | tar -x -C "$tree"
    cp -r "$tree/packaging/debian" "$tree/debian"
    packaging/debian-changelog "$(git log -1 --format=%ct)" >"$tree/debian/changelog"
    chmod -R u=rwX,go=rX "$tree"
}

# Installs those of the named packages that are missing.
install_packages() {
    local package packages missing=()
    packages=$'\n'$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)$'\n'
    for package in "$@"; do
        [[ $packages == *$'\n'"installed $package"$'\n'* ]] || missing+=("$package")
    done
    ((${#missing[@]})) || return 0

    local as_root=()
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages, and neither root nor sudo to install them: ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq --no-install-recommends install -y)
    # The package lists may be absent or out of date on a machine that is new.
    "${install[@]}" "${missing[@]}" >/dev/null 2>&1 && return 0
    if ! "${as_root[@]}" apt-get -qq update || ! "${install[@]}" "${missing[@]}"; then
        echo "Could not install: ${missing[*]}" >&2
        return 1
    fi
}

# Installs what a package.json names into build/browser, unless it is there.
install_npm_packages() {
    local directory=build/browser
    cmp -s "$1" "$directory/installed.json" && return
    command -v npm >/dev/null || install_packages "${npm_packages[@]}"
    mkdir -p "$directory"
    cp "$1" "$directory/package.json"
    (cd "$directory" && npm install --no-package-lock --no-audit --no-fund --ignore-scripts --loglevel=error)
    cp "$1" "$directory/installed.json"
}

# Unpacks the programs of packages, each given as PACKAGE:PROGRAM, into build/programs.
unpack_programs() {
    local directory=build/programs program deb
    [[ $(cat "$directory/list" 2>/dev/null) == "$*" ]] && return
    rm -rf "$directory"
    mkdir -p "$directory"
    for program in "$@"; do
        if ! (cd "$directory" && apt-get -qq -o APT::Sandbox::User= download "${program%%:*}"); then
            echo "Could not download: ${program%%:*}" >&2
            return 1
        fi
        for deb in "$directory"/*.deb; do
            dpkg-deb --fsys-tarfile "$deb" | tar -x -C "$directory" "./${program#*:}"
            rm "$deb"
        done
    done
    echo "$*" >"$directory/list"
}
