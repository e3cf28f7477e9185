# For doxygen, which gives a comment to one name only: writes "double a, b; /**< text */" as two fields with the
# same text, in one line so that line numbers stay true.
{
    line = $0
    do { again = split_fields(line) } while (again)
}

# Writes a line, with those that its comment takes; 1 when `line` then holds a further line that was read.
function split_fields(field,    code, text, blank, count, names, type, out, i)
{
    code = field
    sub(/\/\*.*/, "", code)
    if (code !~ /^ +[A-Za-z_].*,.*; *$/ || code ~ /[({)]/) { print field; return 0 }

    text = match(field, /\/\*\*<.*/) ? substr(field, RSTART) : ""
    if (text == "" && (getline line) > 0)
    {
        if (line !~ /^ +\/\*\*</) { print field; return 1 }
        text = line
        blank = "\n"
    }
    while (text !~ /\*\// && (getline line) > 0) { text = text line; blank = blank "\n" }

    sub(/; *$/, "", code)
    count = split(code, names, /, */)
    match(names[1], /^.*[ *]/)
    type = substr(names[1], 1, RLENGTH)
    sub(/\*+$/, "", type)
    out = names[1] "; " text
    for (i = 2; i <= count; ++i) { out = out " " type names[i] "; " text }
    print out blank
    return 0
}
