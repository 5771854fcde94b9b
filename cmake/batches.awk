# SPDX-License-Identifier: Apache-2.0
# Divides sources into batches that can each be compiled as one: prints the number of a batch for each file.
#
#   awk -v size=12 -f batches.awk FILE...
#
# Two sources that declare the same name outside of every class, as their anonymous namespaces do, come into different
# batches. A source that names a function as the system names one is alone. Declarations are recognised by their place:
# they start in the first column, as clang-format writes them.
BEGIN {
    count = split("accept bind close connect kill listen open pipe poll read recv select send wait write", words, " ")
    for (i = 1; i <= count; ++i) of_system[words[i]]
}

FNR == 1 { file = ++files }

/^#define / { note($2); next }
/^MATCHER/ { sub(/^[A-Z0-9_]*\(/, ""); note($1); next }
/^using .*=/ { note($2); next }
/^(class|struct|union|enum) [^;]*$/ { note($2 == "class" || $2 == "struct" ? $3 : $2); next }
/^(namespace|using|class|struct|union|enum|template|typedef|TEST|TYPED_TEST|INSTANTIATE)/ { next }
/^[A-Za-z_]/ {
    text = $0
    sub(/[(={[;].*/, "", text)
    sub(/ +$/, "", text)
    # A member that is defined outside of its class has that class's name in front.
    if (text ~ /[ *&>][A-Za-z_][A-Za-z0-9_]*$/ && text !~ /::[A-Za-z_][A-Za-z0-9_]*$/) {
        sub(/.*[ *&>]/, "", text)
        note(text)
    }
}

function note(name) {
    sub(/[^A-Za-z0-9_].*/, "", name)
    if (name in of_system) alone[file]
    if (name != "") names[file] = names[file] " " name
}

END {
    for (file = 1; file <= files; ++file) {
        count = split(names[file], own, " ")
        for (batch = 0; ; ++batch) {
            fits = filled[batch] < (file in alone ? 1 : size)
            for (i = 1; fits && i <= count; ++i) fits = !((batch, own[i]) in taken)
            if (fits) break
        }
        filled[batch] += file in alone ? size : 1
        for (i = 1; i <= count; ++i) taken[batch, own[i]]
        print batch
    }
}
