# What the rule scripts share: they print each breach, and fail when there is one or when they looked at nothing.
# shellcheck shell=bash
set -euo pipefail

breaches=0
checked=0

# breach TEXT: reports one breach of the rule.
breach() {
    echo "$1" >&2
    breaches=$((breaches + 1))
}

# verdict WHAT: ends the script; WHAT names the things that were checked.
verdict() {
    [[ $checked -gt 0 ]] || { echo "$(basename "$0"): found no $1 to check" >&2; exit 1; }
    echo "$(basename "$0"): $checked $1, $breaches breaches"
    [[ $breaches -eq 0 ]]
}
