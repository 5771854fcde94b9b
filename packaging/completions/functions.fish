# SPDX-License-Identifier: Apache-2.0
# The part of a completion for fish that is the same for each program. FUNCTION stands for its name, and WITH_VALUE for the
# options that have a value.

# Prints the words that are neither options nor values of options: the command and its operands.
function FUNCTION_words
    set -l tokens (commandline -opc)
    set -l is_value no
    for token in $tokens[2..-1]
        if test $is_value = yes
            set is_value no
            continue
        end
        switch $token
            case WITH_VALUE
                set is_value yes
            case '-*'
            case '*'
                echo -- $token
        end
    end
end

# FUNCTION_in COMMAND: whether this command was typed. An empty name: no command yet.
function FUNCTION_in
    set -l typed (FUNCTION_words)
    test "$typed[1]" = "$argv[1]"
end

# FUNCTION_at COMMAND PLACE: whether the operand behind that many others is to be typed.
function FUNCTION_at
    set -l typed (FUNCTION_words)
    test "$typed[1]" = "$argv[1]"; and test (count $typed) -eq (math $argv[2] + 1)
end

# Prints numbers and names of members that a running wispd reports; nothing if it does not answer at once.
# FUNCTION_members VERB KEY
function FUNCTION_members
    set -l command hbctl --json --timeout 0.5
    set -l tokens (commandline -opc)
    set -l place (contains -i -- --socket $tokens); and set -a command --socket $tokens[(math $place + 1)]
    $command $argv[1] 2>/dev/null </dev/null | sed -nE -e h \
        -e "s/.*[{,]\"$argv[2]\":([0-9]+).*/\1/p" -e g -e 's/.*[{,]"name":"([^"\\\\]*)".*/\1/p'
end

# Prints members of the kind that the word before names.
function FUNCTION_members_of_word
    switch (commandline -opc)[-1]
        case node
            FUNCTION_members nodes node
        case adapter
            FUNCTION_members adapters adapter
    end
end
