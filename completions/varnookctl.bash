# Bash completion for varnookctl. Install as
#   /usr/share/bash-completion/completions/varnookctl
# or source it from ~/.bashrc.
#
# Key names and skill names come from varnookctl itself (varnookctl keys, varnookctl skills
# list), so the completion never falls behind the program.

_varnookctl_config_args()
{
    # The --config given on the command line so far, to ask about the same file.
    local i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case "${COMP_WORDS[i]}" in
        --config | -c)
            printf '%s\n%s\n' --config "${COMP_WORDS[i + 1]}"
            return
            ;;
        --config=*)
            printf '%s\n' "${COMP_WORDS[i]}"
            return
            ;;
        esac
    done
}

_varnookctl()
{
    local cur prev
    cur="${COMP_WORDS[COMP_CWORD]}"
    prev="${COMP_WORDS[COMP_CWORD - 1]}"

    case "$prev" in
    --config | -c | export | import)
        COMPREPLY=($(compgen -f -- "$cur"))
        compopt -o filenames 2>/dev/null
        return
        ;;
    esac

    # The words typed so far, options and their values left out.
    local words=() i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case "${COMP_WORDS[i]}" in
        --config | -c | --token | --nickname | --url | --key | --model | --name | --backup | --bot | --page)
            ((i++))
            ;;
        -*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done

    if [[ "$cur" == -* ]]; then
        COMPREPLY=($(compgen -W "--config --json --help --show-secrets --token --nickname --url --key --model --name --backup --bot --group --page --full --catalog --force --all --version" -- "$cur"))
        return
    fi

    local config
    mapfile -t config < <(_varnookctl_config_args)

    local commands="keys get set unset bot backup status start stop restart test models skills export import personas help"
    case "${#words[@]}" in
    0)
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        return
        ;;
    esac

    case "${words[0]}" in
    get | set | unset)
        if [ "${#words[@]}" -eq 1 ]; then
            COMPREPLY=($(compgen -W "$(varnookctl keys 2>/dev/null | awk '{print $1}')" -- "$cur"))
        fi
        ;;
    bot)
        case "${#words[@]}" in
        1) COMPREPLY=($(compgen -W "list add remove get set unset check backup" -- "$cur")) ;;
        2)
            if [ "${words[1]}" = backup ]; then
                COMPREPLY=($(compgen -W "list add set remove up down" -- "$cur"))
            fi
            ;;
        3)
            case "${words[1]}" in
            get | set | unset)
                COMPREPLY=($(compgen -W "$(varnookctl keys --bot 2>/dev/null | awk '{print $1}')" -- "$cur"))
                ;;
            esac
            ;;
        esac
        ;;
    backup)
        if [ "${#words[@]}" -eq 1 ]; then
            COMPREPLY=($(compgen -W "list add set remove up down" -- "$cur"))
        elif [ "${#words[@]}" -eq 3 ] && [ "${words[1]}" = set ]; then
            COMPREPLY=($(compgen -W "base_url api_key model name" -- "$cur"))
        fi
        ;;
    skills)
        case "${#words[@]}" in
        1) COMPREPLY=($(compgen -W "list enable disable reset search catalog show install delete add-source outdated update" -- "$cur")) ;;
        2)
            case "${words[1]}" in
            enable | disable | delete | update)
                COMPREPLY=($(compgen -W "$(varnookctl "${config[@]}" skills list 2>/dev/null | awk '/^  /{print $2}')" -- "$cur"))
                ;;
            install | show)
                COMPREPLY=($(compgen -W "$(varnookctl "${config[@]}" skills catalog 2>/dev/null | awk '$1 != "installed" {print $1}')" -- "$cur"))
                ;;
            esac
            ;;
        esac
        ;;
    help)
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        ;;
    esac
}

complete -F _varnookctl varnookctl
