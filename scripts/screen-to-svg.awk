# SPDX-License-Identifier: Apache-2.0
# Converts a screen, as `tmux capture-pane -p -e` prints it, to an SVG picture.
#
#   awk -v columns=104 -f screen-to-svg.awk SCREEN
#
# Every run of characters with one style is a text with a length of its own, so the columns stand below each other in
# each font. Every character on the screen has one column.
BEGIN {
    split("#0d1117 #ff7b72 #3fb950 #d29922 #58a6ff #bc8cff #39c5cf #e6edf3", foregrounds, " ")
    split("#0d1117 #b62324 #3fb950 #d29922 #1f4f9c #8957e5 #39c5cf #e6edf3", backgrounds, " ")
    cell = 8.43
    height = 18
    margin = 14
    plain()
}

function plain() { bold = dim = reverse = 0; fg = bg = "" }

# SGR parameters; the screens have no others.
function set_style(parameters,    list, count, i, code) {
    count = split(parameters, list, ";")
    if (count == 0) plain()
    for (i = 1; i <= count; ++i) {
        code = list[i] + 0
        if (code == 0) plain()
        else if (code == 1) bold = 1
        else if (code == 2) dim = 1
        else if (code == 7) reverse = 1
        else if (code == 22) bold = dim = 0
        else if (code == 27) reverse = 0
        else if (code >= 30 && code <= 37) fg = foregrounds[code - 29]
        else if (code == 39) fg = ""
        else if (code >= 40 && code <= 47) bg = backgrounds[code - 39]
        else if (code == 49) bg = ""
    }
}

# Characters, not bytes.
function length_of(text) {
    gsub(/[\200-\277]/, "", text)
    return length(text)
}

function escaped(text) {
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    gsub(/>/, "\\&gt;", text)
    return text
}

# Adds the run of characters at the present column. Blanks at its ends need no text.
function add(text,    count, before, colour, x, width) {
    count = length_of(text)
    if (count == 0) return
    if (bg != "") {
        boxes = boxes sprintf("<rect x=\"%.2f\" y=\"%d\" width=\"%.2f\" height=\"%d\" fill=\"%s\"/>\n",
            margin + column * cell, margin + (NR - 1) * height, count * cell + 0.3, height, bg)
    }
    before = match(text, /[^ ]/) - 1
    if (before >= 0) {
        colour = fg != "" ? fg : dim ? "#8b949e" : "#c9d1d9"
        x = margin + (column + before) * cell
        text = substr(text, before + 1)
        sub(/ +$/, "", text)
        width = length_of(text) * cell
        gsub(/  /, "\\&#160;\\&#160;", text)
        texts = texts sprintf("<text x=\"%.2f\" y=\"%d\" textLength=\"%.2f\" fill=\"%s\"%s>", x,
            margin + (NR - 1) * height + 13, width, colour, bold ? " font-weight=\"bold\"" : "")
        texts = texts escaped_but_blanks(text) "</text>\n"
    }
    column += count
}

function escaped_but_blanks(text) {
    gsub(/&#160;/, "\001", text)
    text = escaped(text)
    gsub(/\001/, "\\&#160;", text)
    return text
}

{
    column = 0
    rest = $0
    while (match(rest, /\033\[[0-9;]*m/)) {
        begin = RSTART
        size = RLENGTH
        add(substr(rest, 1, begin - 1))
        set_style(substr(rest, begin + 2, size - 3))
        rest = substr(rest, begin + size)
    }
    gsub(/\016|\017/, "", rest)
    add(rest)
    rows = NR
}

END {
    print "<!-- scripts/draw-screens drew this from a running hbctl top -->"
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" " \
        "font-family=\"DejaVu Sans Mono, Menlo, Consolas, monospace\" font-size=\"14\" role=\"img\">\n",
        2 * margin + columns * cell + 1, 2 * margin + rows * height, 2 * margin + columns * cell + 1,
        2 * margin + rows * height
    print "<title>hbctl top</title>"
    print "<rect width=\"100%\" height=\"100%\" rx=\"8\" fill=\"#0d1117\"/>"
    printf "%s%s</svg>\n", boxes, texts
}
