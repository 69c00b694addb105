# Shared by the install and package checks: failures are collected, not fatal, so one run lists
# every fault; `finish` turns them into the exit status.
failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
finish() {
    [ "$failures" -eq 0 ] && echo "all checks passed" || echo "$failures check(s) failed" >&2
    [ "$failures" -eq 0 ]
}

# The options a program's --help lists ("-o,--output TEXT" gives -o and --output), one a line.
help_options() {
    "$@" --help | sed -n '/^Options:/,/^[A-Z]/p' | grep -oE '^  +-[-a-zA-Z0-9,]+' |
        tr ',' '\n' | sed 's/^ *//' | grep -v '^$'
}

# The subcommands of a program's --help ("Subcommands:" list), one a line.
help_subcommands() {
    "$1" --help | sed -n '/^Subcommands:/,/^$/p' | grep -oE '^  [a-z][a-z0-9-]*' | sed 's/^ *//'
}

# A man page as plain text: roff's escaped hyphens and font changes undone.
man_text() {
    gzip -dc "$1" | sed -e 's/\\-/-/g' -e 's/\\f[BIRP]//g' -e 's/\\e/\\/g'
}
