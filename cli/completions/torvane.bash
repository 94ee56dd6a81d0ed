# bash completion for torvane: installed as .../bash-completion/completions/torvane
_torvane() {
    local IFS=$'\n'
    COMPREPLY=($(torvane complete -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null | cut -f 1))
    # An id or a file follows "sig:".
    [[ ${COMPREPLY[0]-} == *: ]] && compopt -o nospace 2>/dev/null
}
complete -o default -F _torvane torvane
