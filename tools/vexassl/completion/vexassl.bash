# Completion of vexassl for bash. Commands, flags and words are read from the help of the tool itself.

_vexassl_words() { # help flag: the words that the flag accepts
    awk -v flag="$2" '
        /^  [^ ]/ { inside = ($1 == flag) }
        inside { text = text " " $0 }
        END {
            if (!sub(/.*; one of +/, "", text)) exit
            sub(/ *\(.*/, "", text)
            gsub(/[ ,]+/, "\n", text)
            print text
        }' <<<"$1"
}

_vexassl_value() { # help flag: the name of the flag's value
    start="  $2 " awk '
        index($0, ENVIRON["start"]) == 1 {
            $0 = substr($0, length(ENVIRON["start"]) + 1)
            sub(/[^A-Za-z0-9:].*/, "")
            print
        }' <<<"$1"
}

_vexassl() {
    local tool=${COMP_WORDS[0]} word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands help value=""
    COMPREPLY=()
    commands=$("$tool" --help 2>/dev/null | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
    if [ "$COMP_CWORD" -eq 1 ] || { [ "$COMP_CWORD" -eq 2 ] && [ "$previous" = help ]; }; then
        [ "$COMP_CWORD" -ne 1 ] || commands="$commands help --help --version"
        mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word")
        return
    fi
    help=$("$tool" "${COMP_WORDS[1]}" --help 2>/dev/null) || return
    case $previous in
    --*) value=$(_vexassl_value "$help" "$previous") ;;
    esac
    case $value in
    FILE | DIR)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen "$([ "$value" = DIR ] && echo -d || echo -f)" -- "$word")
        ;;
    ?*) mapfile -t COMPREPLY < <(compgen -W "$(_vexassl_words "$help" "$previous")" -- "$word") ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W \
            "$(sed -n 's/^  \(--[a-z-]*\).*/\1/p' <<<"$help")" -- "$word")
        ;;
    esac
}

complete -F _vexassl vexassl
