#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# One step of the installation's tests, named by the argument; tests/unit/install_test/install_test.cmake
# sets the variables.
set -eu
prefix=$WORK/prefix
read -r -a cflags <<<"${CFLAGS-}"
strict=(-std=c99 -D_POSIX_C_SOURCE=200809L -Wall -Wextra -Wpedantic -Werror)

fail() {
    echo "install_test: $*" >&2
    exit 1
}

into_a_prefix() {
    rm -rf "$WORK"
    mkdir -p "$WORK"
    "$CMAKE" --install "$BUILD" --prefix "$prefix" >"$WORK/install.log" || { cat "$WORK/install.log"; exit 1; }
}

has_every_file() {
    local file header program
    for header in "$SOURCE"/include/hb/*.hpp; do
        [ -s "$prefix/include/hb/${header##*/}" ] || fail "include/hb/${header##*/} is not installed"
    done
    for file in include/hb_{client,error,error_list,watch}.h include/hb_client.hpp include/hb_client/qz_{tr,mss,ffdc,mox}.h \
        "$LIBDIR"/libhb_client.so "$LIBDIR"/libqz_{tr,mss,ffdc,mox,mox_sim}.so "$LIBDIR"/pkgconfig/hb_{client,watch}.pc "$LIBDIR"/libhb_watch.a \
        "$LIBDIR"/cmake/hb_client/hb_client-{config,config-version,targets}.cmake \
        bin/{hbctl,wispd,wispctl} share/hb_client/hbc.catalogue lib/systemd/system/wispd.service share/doc/hb_client/examples/{watch,cluster_events}.c; do
        [ -s "$prefix/$file" ] || fail "$file is not installed"
    done
    for file in libqz_mox_{corosync,serf}.so; do
        if [ -e "$BUILD/lib/$file" ] && [ ! -s "$prefix/$LIBDIR/$file" ]; then
            fail "the cluster service $file is not installed"
        fi
    done
    if [ -e "$BUILD/bin/hb_exporter" ]; then
        for file in bin/hb_exporter share/hb-exporter/{hb.rules.yml,hb.dashboard.json} lib/systemd/system/hb-exporter.service; do
            [ -s "$prefix/$file" ] || fail "$file is not installed"
        done
    fi
    if [ -d "$BUILD/python/hb_client" ]; then
        for file in __init__.py _cluster.py _hb_watch.abi3.so _hb_watch.pyi; do
            [ -s "$prefix/lib/python3/dist-packages/hb_client/$file" ] || fail "$file of the Python package is not installed"
        done
        [ -e "$prefix/lib/python3/dist-packages/hb_client/py.typed" ] || fail "the Python package does not say that it is typed"
    fi
    for file in man1/hbctl.1 man3/hb_subscription.3 man3/hb_subscribe.3 man3/hb_watch_open.3 man5/wispd.toml.5 man7/hb_client.7 man8/wispctl.8 man8/wispd.8; do
        [ -s "$prefix/share/man/$file" ] || fail "the manual page $file is not installed"
    done
    for program in {hbctl,wispctl,wispd}; do
        for file in bash-completion/completions/"$program" zsh/site-functions/_"$program" \
            fish/vendor_completions.d/"$program".fish; do
            [ -s "$prefix/share/$file" ] || fail "the completion $file is not installed"
        done
    done
    if find "$prefix" -name '*_static.a' -o -name '*test*' | grep .; then
        fail "these are not for users"
    fi
}

# has_lines FILE LINE...
has_lines() {
    local file=$1 line
    shift
    for line in "$@"; do
        grep -qx -- "$line" "$file" || fail "$file has no line $line"
    done
}

# The end of the engine must not stop wispd, and wispd must be restarted for as long as the engine is unavailable.
service_fits_the_cluster_engine() {
    local unit=$prefix/lib/systemd/system/wispd.service
    has_lines "$unit" 'ExecStart=.*/bin/wispd --foreground --config .*/wisp/cluster.toml' Restart=on-failure \
        RestartSec=2 RestartPreventExitStatus=2 'ExecReload=/bin/kill -HUP .*'
    if grep -E '^(Requires|BindsTo|PartOf)=' "$unit"; then
        fail "the service ends with another one"
    fi
    if [ "$COROSYNC" = TRUE ]; then
        has_lines "$unit" 'After=network.target corosync.service' Wants=corosync.service
    else
        has_lines "$unit" After=network.target
        ! grep corosync "$unit" || fail "the service waits for an engine that its wispd cannot follow"
    fi
    command -v systemd-analyze >/dev/null || return 0
    systemd_understands wispd wispd
    [ ! -e "$BUILD/bin/hb_exporter" ] || systemd_understands hb-exporter hb_exporter
}

# systemd_understands SERVICE PROGRAM
systemd_understands() {
    # The program is not in the directory that the prefix of the build names.
    sed "s|^ExecStart=[^ ]*|ExecStart=$prefix/bin/$2|" "$prefix/lib/systemd/system/$1.service" >"$WORK/$1.service"
    systemd-analyze verify "$WORK/$1.service" >"$WORK/verify.log" 2>&1 || { cat "$WORK/verify.log"; exit 1; }
    # systemd only mentions settings that it does not know.
    if grep "$1.service" "$WORK/verify.log"; then
        fail "systemd does not understand the service $1"
    fi
}

example_builds_with_pkg_config() {
    local flags example
    export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig
    [ "$(pkg-config --modversion hb_client)" = 1.0.0 ] || fail "pkg-config gives another version"
    read -r -a flags <<<"$(pkg-config --cflags --libs hb_client)"
    for example in watch cluster_events; do
        "$CC" "${cflags[@]}" "${strict[@]}" "$SOURCE/examples/$example.c" -o "$WORK/$example" "${flags[@]}"
    done
    read -r -a flags <<<"$(pkg-config --cflags --libs hb_watch)"
    for example in dead_nodes react reconnect; do
        "$CC" "${cflags[@]}" "${strict[@]}" "$SOURCE/examples/$example.c" -o "$WORK/$example" "${flags[@]}"
    done
}

example_builds_with_find_package() {
    # shellcheck disable=SC2015
    "$CMAKE" -S "$SOURCE/tests/unit/install_test/consumer" -B "$WORK/consumer" -DEXAMPLE="$SOURCE/examples/watch.c" \
        -DCMAKE_C_COMPILER="$CC" -DCMAKE_C_FLAGS="${CFLAGS-}" -DCMAKE_PREFIX_PATH="$prefix" >"$WORK/consumer.log" &&
        "$CMAKE" --build "$WORK/consumer" >>"$WORK/consumer.log" || { cat "$WORK/consumer.log"; exit 1; }
    # CMake wrote the path into the program, so the library is found without help from the environment.
    local needed
    needed=$(env -u LD_LIBRARY_PATH ldd "$WORK/consumer/watch")
    case $needed in *"$prefix/$LIBDIR/libhb_client.so"*) ;; *) fail "it does not find the library: $needed" ;; esac
    case $needed in *'not found'*) fail "a library is missing: $needed" ;; esac
}

# The whole of it: hb_client.hpp brings hb::watcher, which uses the watch.
companion_builds_with_pkg_config() {
    local flags cxxflags
    export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig
    read -r -a flags <<<"$(pkg-config --cflags --libs hb_watch)"
    read -r -a cxxflags <<<"${CXXFLAGS-}"
    "$CXX" "${cxxflags[@]}" -std=c++17 -fno-exceptions -fno-rtti -Wall -Wextra -Wpedantic -Werror \
        "$SOURCE/tests/companion/plain_program.cpp" -o "$WORK/companion" "${flags[@]}"
    local status=0
    HB_SERVER_SOCKET=$WORK/no_daemon LD_LIBRARY_PATH=$prefix/$LIBDIR "$WORK/companion" daemon >"$WORK/companion.out" ||
        status=$?
    [ "$status $(cat "$WORK/companion.out")" = '1 HB_ERROR_CONNECT_FAILED' ] ||
        fail "the C++ program ends with $status and prints: $(cat "$WORK/companion.out")"
}

# wait_for DESCRIPTOR TEXT: reads lines until one contains the text.
wait_for() {
    local line seen=
    while IFS= read -r -t 100 -u "$1" line; do
        seen+=$line$'\n'
        case $line in *"$2"*) return 0 ;; esac
    done
    fail "no line with '$2' in: $seen"
}

example_receives_events() {
    local run
    run=$(mktemp -d)
    cat >"$run/cluster.toml" <<'END'
[cluster]
name = "installed"
local_node = 1
max_nodes = 4
adapters_per_node = 1
instance = 1
[[network]]
number = 0
name = "net_a"
type = "ether"
[[node]]
number = 1
name = "alpha"
  [[node.adapter]]
  network = 0
  address = "10.1.0.1"
  type = "eth0"
[[node]]
number = 3
name = "gamma"
  [[node.adapter]]
  network = 0
  address = "10.1.0.3"
  type = "eth0"
END
    export HB_SERVER_SOCKET=$run/socket
    unset HA_DOMAIN_NAME HA_SYSPAR_NAME LD_LIBRARY_PATH
    exec 3< <(exec "$prefix/bin/wispd" --foreground --config "$run/cluster.toml" --control "$run/control" 2>&1)
    local wispd=$!
    # shellcheck disable=SC2064
    trap "kill $wispd 2>/dev/null || true; wait_for_end 3; rm -rf '$run'" EXIT
    wait_for 3 "listening on $run/socket"
    exec 4< <(LD_LIBRARY_PATH=$prefix/$LIBDIR exec "$WORK/watch" 2>&1)
    wait_for 4 "event 4 1 3"
    "$prefix/bin/wispctl" --control "$run/control" node-down 3
    wait_for 4 "event 1 3"
    "$prefix/bin/wispctl" --control "$run/control" node-up 3
    wait_for 4 "event 2 3"
    "$prefix/bin/hbctl" status >"$run/status" || fail "hbctl status failed"
    "$prefix/bin/wispctl" --control "$run/control" stop
    wait_for 4 "error number is 16"
}

# Reads a program's output to its end.
wait_for_end() {
    local line status=0
    while [ $status -eq 0 ]; do
        IFS= read -r -t 100 -u "$1" line || status=$?
    done
    [ $status -le 128 ] || fail "the program did not end"
}

# The installed header names the folder of the platform's headers, so no option is needed to find them.
public_header_needs_no_further_path() {
    printf '#include <hb_client.h>\nint main(void) { return 0; }\n' >"$WORK/plain.c"
    "$CC" "${cflags[@]}" "${strict[@]}" -isystem "$prefix/include" -fsyntax-only "$WORK/plain.c"
    local changed
    changed=$(diff "$SOURCE/include/hb_client.h" "$prefix/include/hb_client.h" | grep '^[<>]') || true
    [ "$changed" = '< #include "qz_mss.h"
> #include "hb_client/qz_mss.h"' ] || fail "the installed header differs from the source in: $changed"
}

platform_headers_are_found() {
    local flags
    printf '#include <hb_client.h>\n#include <qz_mox.h>\n#include <qz_tr.h>\n#include %s\nint main(void) { return 0; }\n' \
        '<qz_ffdc.h>' >"$WORK/platform.c"
    read -r -a flags <<<"$(PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig pkg-config --cflags hb_client)"
    "$CC" "${cflags[@]}" "${strict[@]}" "${flags[@]}" -fsyntax-only "$WORK/platform.c"
}

# Uses its own prefix: the other steps use the shared one at the same time.
prefix_can_be_moved() {
    rm -rf "$WORK/first" "$WORK/moved"
    "$CMAKE" --install "$BUILD" --prefix "$WORK/first" >"$WORK/first.log" || { cat "$WORK/first.log"; exit 1; }
    mv "$WORK/first" "$WORK/moved"
    export PKG_CONFIG_PATH=$WORK/moved/$LIBDIR/pkgconfig
    case $(pkg-config --cflags hb_client) in
    *"$WORK/moved/"*) ;;
    *) fail "hb_client.pc still points to $(pkg-config --cflags hb_client)" ;;
    esac
    env -u LD_LIBRARY_PATH "$WORK/moved/bin/hbctl" --help >"$WORK/help" || fail "hbctl does not start after the move"
    grep -q watch "$WORK/help" || fail "hbctl --help does not name its verbs"
    if [ -d "$BUILD/python/hb_client" ]; then
        env -u LD_LIBRARY_PATH PYTHONDONTWRITEBYTECODE=1 PYTHONPATH="$WORK/moved/lib/python3/dist-packages" \
            "$PYTHON" -c 'import hb_client' || fail "the Python package does not find the library after the move"
    fi
}

"$1"
