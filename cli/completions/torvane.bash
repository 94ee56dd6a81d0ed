# bash completion for torvane: installed as .../bash-completion/completions/torvane

# Splits the line up to the cursor into `words` without quotes; COMP_WORDS is also split at ":", "=" and "@". Candidates
# replace only what follows these characters: `kept` is the length of the part of the last word before that.
_torvane_split() {
    local line=${COMP_LINE:0:COMP_POINT} word='' char
    words=() kept=0 quote=''
    while [[ -n $line ]]; do
        char=${line:0:1} line=${line:1}
        if [[ $char == \\ && (-z $quote || ($quote == \" && $line == [\$\`\"\\]*)) ]]; then
            word+=${line:0:1} line=${line:1}
        elif [[ $char == "$quote" ]]; then
            quote=''
            kept=$before
        elif [[ -z $quote && $char == [\'\"] ]]; then
            quote=$char before=$kept kept=${#word}
        elif [[ -z $quote && $char == [[:space:]] ]]; then
            [[ -n $word ]] && words+=("$word")
            word='' kept=0
        else
            word+=$char
            if [[ -z $quote && $COMP_WORDBREAKS == *"$char"* ]]; then
                kept=${#word}
                [[ $char == @ ]] && ((--kept)) # bash replaces this one too
            fi
        fi
    done
    words+=("$word")
}

_torvane() {
    local words kept before quote word
    _torvane_split
    COMPREPLY=()
    while IFS=$'\t' read -r word _; do
        # An id or a file follows "sig:".
        [[ $word == *: ]] && compopt -o nospace 2>/dev/null
        word=${word:kept}
        if [[ -z $quote && -n $word ]]; then
            printf -v word %q "$word"
        elif [[ $word == *[\'\"\\\$\`!]* ]]; then
            continue # it cannot stand between quotes as it is
        fi
        COMPREPLY+=("$word")
    done < <(torvane complete -- "${words[@]:1}" 2>/dev/null)
}
complete -o default -F _torvane torvane
