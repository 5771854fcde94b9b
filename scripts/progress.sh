# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# How far long steps are: sourced by ./check, ./demo and scripts/setup.
#
# A step writes a log, which is counted while it grows. On a terminal one line shows all steps that are under way and
# estimates what is left; in a log there is a line every 30 seconds.
#
#   progress_open                   starts the display
#   progress_add NAME KIND LOG      a step has begun; KIND is packages, objects or tests
#   progress_remove NAME            it has ended
#   progress_clear                  before a line is printed
#   progress_close                  ends the display

progress_directory=
progress_display=

progress_open() {
    progress_directory=$(mktemp -d) || return 0
    progress_watch </dev/null &
    progress_display=$!
}

progress_close() {
    [ -n "$progress_directory" ] || return 0
    kill "$progress_display" 2>/dev/null
    wait "$progress_display" 2>/dev/null
    progress_clear
    rm -rf "$progress_directory"
    progress_directory=
}

progress_add() {
    [ -z "$progress_directory" ] || printf '%s\t%s\t%s\n' "$2" "$EPOCHSECONDS" "$3" >"$progress_directory/$1"
}

progress_remove() {
    [ -z "$progress_directory" ] || rm -f "$progress_directory/$1"
}

progress_clear() {
    [ ! -t 1 ] || printf '\r\033[K'
}

# progress_count KIND LOG: prints how much is done and how much there is, or nothing as long as that is unknown.
progress_count() {
    case $1 in
    objects) sed -nE 's/^\[([0-9]+)\/([0-9]+)\] .*/\1 \2/p' "$2" | tail -n 1 ;;
    tests) sed -nE 's/^ *([0-9]+)\/([0-9]+) Test .*/\1 \2/p' "$2" | tail -n 1 ;;
    packages)
        # Each is fetched, unpacked and set up.
        awk '/ newly installed,/ { for (i = 2; i <= NF; ++i) if ($i == "newly") all += $(i - 1) }
            /^Get:/ || /^Unpacking / || /^Setting up / { ++done }
            END { if (all) { done = int(done / 3); print (done < all ? done : all), all } }' "$2"
        ;;
    esac 2>/dev/null
}

progress_duration() {
    if [ "$1" -lt 90 ]; then echo "$1 s"; else echo "$((($1 + 30) / 60)) min"; fi
}

# progress_line: the steps under way, in one line.
progress_line() {
    local file kind started log counted all elapsed line=
    for file in "$progress_directory"/*; do
        IFS=$'\t' read -r kind started log 2>/dev/null <"$file" || continue
        elapsed=$((EPOCHSECONDS - started))
        read -r counted all < <(progress_count "$kind" "$log") || { counted='' all=''; }
        line+="${line:+ | }${file##*/}:"
        if [ -z "$all" ]; then
            line+=" $(progress_duration "$elapsed")"
            continue
        fi
        line+=" $counted/$all $kind"
        if [ "$counted" -gt 0 ] && [ "$elapsed" -ge 3 ]; then
            line+=", about $(progress_duration $((elapsed * (all - counted) / counted))) left"
        fi
    done
    printf '%s' "$line"
}

progress_watch() {
    local line width pause=30
    [ ! -t 1 ] || pause=1
    trap 'kill $! 2>/dev/null; exit 0' TERM
    while kill -0 $$ 2>/dev/null; do
        # A signal ends a wait, and would not end a sleep.
        sleep "$pause" >/dev/null 2>&1 &
        wait $!
        line=$(progress_line)
        [ -n "$line" ] || continue
        if [ -t 1 ]; then
            width=$(tput cols 2>/dev/null || echo 80)
            printf '\r\033[K%s' "${line:0:width-1}"
        else
            printf '         %s\n' "$line"
        fi
    done
}
