# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# The part of a completion for bash that is the same for each program. FUNCTION and PROGRAM stand for its names.

# Prints numbers and names of members that a running wispd reports; nothing if it does not answer at once.
# FUNCTION_members VERB KEY SOCKET
FUNCTION_members() {
    local options=(--json --timeout 0.5)
    [ -z "$3" ] || options+=(--socket "$3")
    hbctl "${options[@]}" "$1" 2>/dev/null </dev/null |
        sed -nE -e h -e "s/.*[{,]\"$2\":([0-9]+).*/\\1/p" -e g -e 's/.*[{,]"name":"([^"\\]*)".*/\1/p'
}

# FUNCTION_words KIND SOCKET WORD-BEFORE: prints the values of a kind that are words.
FUNCTION_words() {
    case $1 in
    words\ *) tr ' ' '\n' <<<"${1#words }" ;;
    nodes) FUNCTION_members nodes node "$2" ;;
    adapters) FUNCTION_members adapters adapter "$2" ;;
    networks) FUNCTION_members networks network "$2" ;;
    before)
        case $3 in
        node) FUNCTION_members nodes node "$2" ;;
        adapter) FUNCTION_members adapters adapter "$2" ;;
        esac
        ;;
    esac
}

# FUNCTION_reply KIND CURRENT SOCKET WORD-BEFORE: fills COMPREPLY.
FUNCTION_reply() {
    local kind=$1 current=$2 before='' word quoted
    case $kind in
    files)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    commands)
        mapfile -t COMPREPLY < <(compgen -c -- "$current")
        return
        ;;
    list\ *)
        kind=${kind#list }
        case $current in
        *,*)
            before=${current%,*},
            current=${current##*,}
            ;;
        esac
        ;;
    esac
    # A name of a cluster is text from elsewhere: compgen -W would run commands that it contains, and the shell would run
    # them after Enter if the name were inserted without quotes.
    while IFS= read -r word; do
        printf -v quoted %q "$word"
        if [[ $word == "$current"* || $quoted == "$current"* ]]; then COMPREPLY+=("$before$quoted"); fi
    done < <(FUNCTION_words "$kind" "$3" "$4")
}

FUNCTION() {
    local current=${COMP_WORDS[COMP_CWORD]} verb='' option='' socket='' before='' count=0 word i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [ -n "$option" ]; then
            [ "$word" != = ] || continue # the shell splits --option=value into three words
            [ "$option" != --socket ] || socket=$word
            option=
        elif [[ $word == -* ]]; then
            ! FUNCTION_value "$verb" "$word" >/dev/null || option=$word
        elif [ -z "$verb" ]; then
            verb=$word
        else
            before=$word
            count=$((count + 1))
        fi
    done
    [ "$current" != = ] || current=
    if [ -n "$option" ]; then
        FUNCTION_reply "$(FUNCTION_value "$verb" "$option")" "$current" "$socket" ''
    elif [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(FUNCTION_options "$verb")" -- "$current")
    elif [ -z "$verb" ]; then
        mapfile -t COMPREPLY < <(compgen -W "$(FUNCTION_verbs)" -- "$current")
    else
        FUNCTION_reply "$(FUNCTION_operand "$verb" "$count")" "$current" "$socket" "$before"
    fi
}
complete -F FUNCTION PROGRAM
