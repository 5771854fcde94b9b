# SPDX-License-Identifier: Apache-2.0
# The part of a completion for zsh that is the same for each program. FUNCTION stands for its name.

# Adds numbers and names of members that a running wispd reports; none if it does not answer at once.
# FUNCTION_members VERB KEY [option of compadd]...
FUNCTION_members() {
    local verb=$1 key=$2
    shift 2
    local -a command members
    command=(hbctl --json --timeout 0.5)
    [[ -z ${opt_args[--socket]} ]] || command+=(--socket ${(Q)opt_args[--socket]})
    members=(${(f)"$($command $verb 2>/dev/null </dev/null |
        sed -nE -e h -e "s/.*[{,]\"$key\":([0-9]+).*/\\1/p" -e g -e 's/.*[{,]"name":"([^"\\]*)".*/\1/p')"})
    compadd "$@" -a members
}

# zsh calls these with options of compadd.
FUNCTION_nodes() { FUNCTION_members nodes node "$@"; }
FUNCTION_adapters() { FUNCTION_members adapters adapter "$@"; }
FUNCTION_networks() { FUNCTION_members networks network "$@"; }

# Adds members of the kind that the word before names.
FUNCTION_members_of_word() {
    case ${words[CURRENT-1]} in
    node) FUNCTION_nodes "$@" ;;
    adapter) FUNCTION_adapters "$@" ;;
    *) _message number ;;
    esac
}
