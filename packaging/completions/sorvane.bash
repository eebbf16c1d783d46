# Completion for bash, 3.2 included; installed under the name of each command, which is how bash finds
# it. Where nothing is offered bash completes file names.

_sorvane() {
    local word=${COMP_WORDS[COMP_CWORD]} words='' command='' given
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        --client-id | --credential-file)
            return
            ;;
        --workspace)
            local IFS=$'\n'
            # shellcheck disable=SC2207 # there is no mapfile in bash 3.2
            COMPREPLY=($(compgen -d -- "$word"))
            compopt -o filenames 2>/dev/null
            return
            ;;
        --agent)
            words='codex claude-code cursor custom-'
            ;;
        *)
            if [[ ${COMP_WORDS[0]##*/} == sorvane-hook ]]; then
                words='--agent --client-id --credential-file'
            else
                words='--agent --workspace --json --help --version'
                for given in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
                    [[ $given != event && $given != identity ]] || command=$given
                done
                [[ -n $command ]] || words+=' event identity'
                [[ -z $command || $word == -* ]] || words=''
            fi
            ;;
    esac
    # shellcheck disable=SC2207
    COMPREPLY=($(compgen -W "$words" -- "$word"))
}

complete -o default -F _sorvane sorvane-doctor sorvane-hook
