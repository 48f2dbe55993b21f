# shellcheck shell=bash
# Completion of corvan for bash. Options are those that the verb's own help lists.

_corvan_options()
{
    corvan ${1:+"$1"} --help 2> /dev/null |
        sed -n -E 's/^  (-[^ ,]+(,-[^ ,]+)*).*/\1/p' | tr , '\n'
}

_corvan_verbs()
{
    corvan --help 2> /dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p'
}

# Identifiers and names of jobs, of a Master that runs: a key must not start one.
_corvan_jobs()
{
    local socket=${XDG_RUNTIME_DIR-}/corvan-master.sock
    [ -n "${CORVAN_MASTER-}" ] || [ -S "$socket" ] || return
    corvan list --limit 50 --json 2> /dev/null |
        sed -n -E 's/^ *"(id|name)": "([^"\\ ]+)",?$/\2/p'
}

# The job types that ship, by the names of their files.
_corvan_types()
{
    local program folder
    program=$(type -P corvan) || return
    folder=${ORDWICK_SHARE:-$(dirname "$(dirname "$(readlink -f "$program")")")/share/ordwick}
    find "$folder/jobtypes" -name '*.ini' -printf '%f\n' 2> /dev/null | sed 's/\.ini$//'
}

# Whether an option takes a value: the help names its type behind it, in capitals.
_corvan_takes_value()
{
    corvan ${2:+"$2"} --help 2> /dev/null | grep -q -E -- "^  (-[^ ]+,)?$1(,-[^ ]+)? [A-Z]+([^a-z]|$)"
}

# What the word before asks for, behind a verb; false where it asks for nothing of its own.
_corvan_value()
{
    case $1 in
        --options | --log-file | --format | -o | --output | --sealed | --to) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
        --sort) mapfile -t COMPREPLY < <(compgen -W 'name size date' -- "$2") ;;
        --rule) mapfile -t COMPREPLY < <(compgen -W 'neighbours robust' -- "$2") ;;
        --after | --after-good) mapfile -t COMPREPLY < <(compgen -W "$(_corvan_jobs)" -- "$2") ;;
        --order) mapfile -t COMPREPLY < <(compgen -W 'given middle ends' -- "$2") ;;
        --log-level) mapfile -t COMPREPLY < <(compgen -W '0 1 2 3 4 5 6' -- "$2") ;;
        -*) _corvan_takes_value "$1" "$3" ;;
        *) return 1 ;;
    esac
}

_corvan()
{
    local word=${COMP_WORDS[COMP_CWORD]} verb='' i
    COMPREPLY=()

    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -*) _corvan_takes_value "${COMP_WORDS[i]}" '' && ((i++)) ;;
            *)
                verb=${COMP_WORDS[i]}
                break
                ;;
        esac
    done

    _corvan_value "${COMP_WORDS[COMP_CWORD - 1]}" "$word" "$verb" && return

    case $word:$verb in
        -*:*) mapfile -t COMPREPLY < <(compgen -W "$(_corvan_options "$verb")" -- "$word") ;;
        *:) mapfile -t COMPREPLY < <(compgen -W "$(_corvan_verbs)" -- "$word") ;;
        *:submit) mapfile -t COMPREPLY < <(compgen -W "$(_corvan_types)" -- "$word") ;;
        *:list) ;;
        *:watch) mapfile -t COMPREPLY < <(compgen -W "$(_corvan_jobs)" -f -- "$word") ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$(_corvan_jobs)" -- "$word") ;;
    esac
}

complete -o filenames -F _corvan corvan
