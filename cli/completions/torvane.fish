# fish completion for torvane: installed as .../fish/vendor_completions.d/torvane.fish
function __torvane_find
    set -l words (commandline -opc)
    set -l last (commandline -ct | string unescape)
    # fish would not quote a leading "~".
    set -g __torvane_candidates (torvane complete -- $words[2..] "$last" 2>/dev/null | string match -v '~*')
    set -q __torvane_candidates[1]
end
# Files are completed if there are no candidates.
complete -c torvane -n __torvane_find -f -a '$__torvane_candidates'
