# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Files from Debian's archive for the cache: of other architectures, of other versions, and sources. apt gets a state of
# its own, so that the machine's own packages and package index stay as they are. It is sourced after common.sh.

cache_dir=${XDG_CACHE_HOME:-$HOME/.cache}/zephran

# cached NAME FILE ...: the directory in the cache for what these files describe; another one when they change
cached() {
    local name=$1
    shift
    printf '%s/%s-%s\n' "$cache_dir" "$name" "$(cat "$@" | sha256sum | cut -c1-12)"
}

# make_once DIRECTORY COMMAND ...: runs the command with DIRECTORY appended, unless that has succeeded before
make_once() {
    local directory=$1
    shift
    mkdir -p "$cache_dir"
    (
        flock 9
        [ ! -e "$directory/complete" ] || exit 0
        rm -rf "$directory"
        mkdir "$directory"
        # What it starts must not keep the lock.
        "$@" "$directory" 9>&-
        touch "$directory/complete"
    ) 9>"$directory.lock"
}

# machine_acquire_options: how this machine reaches archives, for instance by a proxy, as apt's configuration. Languages
# and further indexes are not needed.
machine_acquire_options() {
    apt-config dump --no-empty Acquire | grep -Ev '^Acquire::(Languages|IndexTargets)\b'
}

# open_archive STATE ARCHITECTURE: a state for apt that knows this architecture only, and no installed package
open_archive() {
    local state=$1 architecture=$2
    mkdir -p "$state"/{lists/partial,cache/archives/partial,sources}
    : >"$state/status"
    if [ -f /etc/apt/sources.list ]; then
        cp /etc/apt/sources.list "$state/sources/main.list"
    fi
    find /etc/apt/sources.list.d \( -name '*.list' -o -name '*.sources' \) -exec cp -t "$state/sources" {} +
    # Sources come from where the packages come from, and a restriction to the machine's architecture does not count.
    find "$state/sources" -name '*.sources' -exec sed -i -e 's/^Types:.*/Types: deb deb-src/' -e '/^Architectures:/d' {} +
    find "$state/sources" -name '*.list' -exec sed -i -E -e 's/\barch=[^] ]*//' -e 's/^deb (.*)/deb \1\ndeb-src \1/' {} +
    # Nothing else of the machine's configuration counts: it may hold commands that apt would run.
    machine_acquire_options >"$state/apt.conf"
    cat >>"$state/apt.conf" <<CONFIGURATION
APT::Architecture "$architecture";
APT::Architectures { "$architecture"; };
APT::Install-Recommends "false";
APT::Sandbox::User "root";
Acquire::Languages "none";
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$state/sources";
Dir::State "$state";
Dir::State::Lists "$state/lists";
Dir::State::Status "$state/status";
Dir::Cache "$state/cache";
Dir::Etc::Main "/dev/null";
Dir::Etc::Parts "/dev/null";
CONFIGURATION
    # The index of one suite may lag behind, or lack the architecture; what the others hold may well suffice.
    archive "$state" update >"$state/update.log" 2>&1 || true
}

# archive STATE COMMAND ...: apt-get with that state
archive() {
    local state=$1
    shift
    APT_CONFIG=$state/apt.conf apt-get -qq -o Debug::NoLocking=true "$@"
}

# download_packages STATE PACKAGE ...: with all that they depend on
download_packages() {
    local state=$1
    shift
    archive "$state" install -y --download-only "$@" >"$state/install.log" 2>&1 ||
        { tail -n 20 "$state/update.log" "$state/install.log" >&2; die "could not download: $*"; }
}

# download_alone STATE PACKAGE ...: without what they depend on
download_alone() {
    local state=$1
    shift
    (cd "$state/cache/archives" && archive "$state" download "$@" >"$state/download.log" 2>&1) ||
        { tail -n 20 "$state/update.log" "$state/download.log" >&2; die "could not download: $*"; }
}

# unpack_packages STATE DIRECTORY: what has been downloaded
unpack_packages() {
    local package
    for package in "$1"/cache/archives/*.deb; do
        dpkg-deb -x "$package" "$2"
    done
}

# download_sources STATE PACKAGE ...: the archives as their authors released them
download_sources() {
    local state=$1
    shift
    (cd "$state/cache" && archive "$state" source --download-only "$@" >"$state/source.log" 2>&1) ||
        { tail -n 20 "$state/update.log" "$state/source.log" >&2; die "could not download the sources of: $*"; }
}

# relocate_links DIRECTORY: lets absolute links below it point into it
relocate_links() {
    local link target
    find "$1" -type l -lname '/*' | while read -r link; do
        target=$(readlink "$link")
        ln -sfn "$(realpath -ms --relative-to="$(dirname "$link")" "$1$target")" "$link"
    done
}
