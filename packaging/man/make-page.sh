#!/bin/sh
# SPDX-License-Identifier: MIT
# Writes a manual page: the template with the options that the program itself lists in the place of its line "@OPTIONS@".
# Usage: make-page.sh TEMPLATE PROGRAM
set -eu
"$2" --help | awk -v template="$1" '
    function plain(text) {
        gsub(/\\/, "\\e", text)
        gsub(/-/, "\\-", text)
        return text ~ /^[.\047]/ ? "\\&" text : text
    }
    # The head of a group; it is written once an option follows.
    /^[A-Z][A-Za-z ]*:$/ {
        head = $0 == "Options:" ? "" : ".SS " substr($0, 1, length($0) - 1) "\n"
        inOption = 0
        next
    }
    # "  --name VALUE   what it does", which indented lines go on with.
    /^  -/ {
        match($0, /^  -[^ ]*( [^ ]+)*/)
        options = options head ".TP\n.B " plain(substr($0, 3, RLENGTH - 2)) "\n"
        head = ""
        $0 = substr($0, RLENGTH + 1)
        inOption = 1
    }
    /^       / && inOption || /[^ ]/ && head == "" && inOption && !/^[^ ]/ {
        sub(/^ +/, "")
        options = options plain($0) "\n"
        next
    }
    { inOption = inOption && $0 == "" }
    END {
        while ((getline line < template) > 0)
            if (line == "@OPTIONS@")
                printf "%s", options
            else
                print line
    }'
