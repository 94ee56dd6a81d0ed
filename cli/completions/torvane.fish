# fish completion for torvane: installed as .../fish/vendor_completions.d/torvane.fish
function __torvane_candidates
    set -l words (commandline -opc) (commandline -ct)
    torvane complete -- $words[2..] 2>/dev/null
end
complete -c torvane -a '(__torvane_candidates)'
