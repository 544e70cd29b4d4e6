# What Doxygen reads of a header. Two habits of the headers are told to it here:
#  - a comment stands for all declarations below it, up to a blank line or the next
#    comment: such a run becomes a group, whose members share the comment;
#  - copying, moving and destroying need no comment where the class comment has said
#    all: such members are left out unless they have one. So are specialisations of
#    foreign templates.
# And every header is to be in the reference, with its free functions.
# Lines keep their numbers, so that warnings point to the header.

function trimmed(line) { sub(/^[ \t]+/, "", line); return line }
function isDoc(line) { return trimmed(line) ~ /^\/\/\/($|[^<])/ }
function isNote(line) { return trimmed(line) ~ /^\/\/($|[^\/])/ }

# How many more brackets the line opens than it closes.
function opened(line,    code, more) {
    code = line
    sub(/\/\/.*/, "", code)
    gsub(/"[^"]*"/, "", code)
    more = gsub(/[({]/, "", code)
    return more - gsub(/[)}]/, "", code)
}

# The last line of the statement that starts at `from`.
function statementEnd(from,    at, depth) {
    for (at = from; at <= count; ++at) {
        depth += opened(line[at])
        if (depth <= 0 && line[at] ~ /[;}][ \t]*(\/\/.*)?$/) { return at }
    }
    return count
}

{ line[++count] = $0; sub(/\r$/, "", line[count]) }

END {
    for (i = 1; i <= count; ++i) {
        text = trimmed(line[i])
        if (text ~ /^(class|struct) / && text !~ /;$/) {
            name = text
            sub(/^(class|struct) (CORE_API )?/, "", name)
            sub(/[^A-Za-z0-9_].*/, "", name)
        }
        if (text == "template <>") {
            last = statementEnd(i)
            for (j = i; j <= last; ++j) { line[j] = "" }
        }
        if (name != "" && !isDoc(line[i - 1]) && !(isNote(line[i - 1]) && isDoc(line[i - 2])) &&
            text ~ "(^|[ ~&])(" name "|operator=)\\((const )?(" name " ?&&?[^,)]*)?\\)" &&
            (text ~ "&" || text ~ "^(virtual )?~")) {
            last = statementEnd(i)
            for (j = i; j <= last; ++j) { line[j] = "" ; dropped[j] = 1 }
            i = last
        }
    }
    for (i = 1; i <= count; ++i) {
        if (!isDoc(line[i]) || isDoc(line[i - 1])) { continue }
        start = i
        while (isDoc(line[i]) || isNote(line[i])) { ++i }
        if (!hasFileComment && !seen++ && line[i] !~ /^#define/ && line[i] ~ /^(#|$)/) {
            line[start - 1] = "/// @file"
            hasFileComment = 1
            continue
        }
        if (line[i] ~ /^#define/) {
            for (end = i; line[end + 1] ~ /^#define/; ++end) { }
            if (end > i) {
                before[start] = " /**@{*/"
                after[end + 1] = "/**@}*/"  # not a part of the macro
            }
            i = end
            continue
        }
        if (trimmed(line[i]) ~ /^(class|struct|enum|union|namespace|extern|#|template <>)/) { continue }
        statements = 0
        end = 0
        while (i <= count) {
            text = trimmed(line[i])
            if (dropped[i]) { ++i; continue }
            if (text == "" || text ~ /^\/\// || text ~ /^#/ || text ~ /^}/ || text ~ /^(public|private|protected):/) { break }
            end = statementEnd(i)
            i = end + 1
            ++statements
        }
        if (statements > 1) {
            before[start] = " /**@{*/"
            after[end] = " /**@}*/"
        }
        --i
    }
    for (i = 1; i <= count + (count + 1 in after); ++i) {
        print line[i] after[i] before[i + 1] (i == 1 && !hasFileComment ? " /** @file */" : "")
    }
}
