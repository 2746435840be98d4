# bash completion for vtdom: its options, then a script, then any files.

_vtdom() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
            -e | -p | -x | --plugin) ((++i)) ;;
            -?*) ;;
            *) return ;; # what follows the script is the script's: bash offers files
        esac
    done
    case $previous in
        -e | -p | -x | --plugin) return ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$("$1" --help | grep -oE '^  -[^ ]+' | tr , ' ')" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -d -- "$current"; compgen -f -X '!*.js' -- "$current")
    fi
}
complete -o default -o filenames -F _vtdom vtdom
