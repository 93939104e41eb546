# bash completion for vestry
_vestry() {
    local cur prev words cword
    _init_completion || return

    local -a nonopt=()
    local i
    for ((i = 1; i < cword; i++)); do
        [[ ${words[i]} == -* ]] && continue
        case ${words[i - 1]} in
            --sort | --to | --older-than | --keep | --max-size | --project-size | --folder-size | --action) continue ;;
        esac
        nonopt+=("${words[i]}")
    done

    case $prev in
        --sort) COMPREPLY=($(compgen -W 'name date size' -- "$cur")); return ;;
        --action) COMPREPLY=($(compgen -W 'trash archive' -- "$cur")); return ;;
        --to) _filedir zip; return ;;
        --older-than | --keep | --max-size | --project-size | --folder-size) return ;;
    esac

    local command=${nonopt[0]-} opts="" paths=""
    case $command in
        "") opts='--help --version'
            [[ $cur != -* ]] && { COMPREPLY=($(compgen -W 'list discover prune archive pin unpin restore helper gather-logs' -- "$cur")); return; } ;;
        list) opts='--json --sort --descending --orphans --summary --help'; paths=1 ;;
        discover) opts='--json --volumes --help' ;;
        prune) opts='--older-than --keep --max-size --dry-run --json --help'; paths=1 ;;
        pin | unpin) opts='--help'; paths=1 ;;
        archive) opts='--to --verify --help'; paths=1 ;;
        restore) opts='--list --json --last --help'; paths=1 ;;
        gather-logs) opts='--help' ;;
        helper)
            case "${nonopt[1]-} ${nonopt[2]-}" in
                " ") [[ $cur != -* ]] && { COMPREPLY=($(compgen -W 'status enable disable' -- "$cur")); return; }
                    opts='--help' ;;
                "status ") opts='--json --system --help' ;;
                "enable "|"disable ") [[ $cur != -* ]] && { COMPREPLY=($(compgen -W 'trash clean' -- "$cur")); return; }
                    opts='--help' ;;
                "enable clean") opts='--older-than --project-size --folder-size --action --system --help'
                    [[ ${#nonopt[@]} -lt 4 ]] && paths=1 ;;
                *) opts='--system --help' ;;
            esac ;;
    esac
    if [[ $cur == -* || -z $paths ]]; then
        COMPREPLY=($(compgen -W "$opts" -- "$cur"))
    else
        _filedir -d
        [[ $command == archive || $command == list || $command == pin || $command == unpin || $command == restore ]] && _filedir
    fi
}
complete -F _vestry vestry
