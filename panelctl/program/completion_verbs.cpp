// SPDX-License-Identifier: MIT
//
// panelctl completion ...: the scripts that make shells ask `panelctl --complete`.
#include <panelctl/base/output.h>
#include <panelctl/base/verbs.h>

namespace panelctl {

namespace {

// bash splits words at "=" and passes quotes and backslashes as they were typed; a word with blanks is quoted, unless
// it begins with a quote.
constexpr const char bash[] = R"(# bash completion of panelctl; to have it at once:  source <(panelctl completion bash)
_panelctl() {
    local word=${COMP_WORDS[COMP_CWORD]} quote='' line
    local -a before=("${COMP_WORDS[@]:1:COMP_CWORD-1}")
    case $word in
        [\"\']*) quote=${word:0:1} word=${word:1} ;;
        *) word=${word//\\/} ;;
    esac
    COMPREPLY=()
    while IFS=$'\t' read -r line _; do
        [[ -n $quote ]] || printf -v line %q "$line"
        COMPREPLY+=("$line")
    done < <("$1" --complete "${before[@]}" "$word" 2>/dev/null)
}
complete -o default -F _panelctl panelctl
)";

constexpr const char zsh[] = R"(#compdef panelctl
# zsh completion of panelctl; to have it at once:  source <(panelctl completion zsh)
# or put it into a folder of $fpath as _panelctl.
_panelctl() {
    local line
    local -a found
    for line in "${(@f)$("${(Q)words[1]}" --complete "${(@Q)words[2,CURRENT]}" 2>/dev/null)}"; do
        [[ -n $line ]] && found+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
    done
    if (( $#found )); then _describe panelctl found; else _files; fi
}
if [[ $funcstack[1] == _panelctl ]]; then _panelctl "$@"; else compdef _panelctl panelctl; fi
)";

constexpr const char fish[] =
    R"fish(# fish completion of panelctl; to have it at once:  panelctl completion fish | source
function __panelctl
    set -l words (commandline -opc)
    $words[1] --complete $words[2..-1] (commandline -ct) 2>/dev/null
end
complete -c panelctl -f -a '(__panelctl)'
complete -c panelctl -n 'test -z "(__panelctl)"' -F
)fish";

template <const char* script>
struct Script {
    void options(CLI::App&) {}
    void run(const Context&) const { printRaw(script); }
};

} // namespace

void addCompletionVerbs(CLI::App& group, const Context& context) {
    addVerb<Script<bash>>(group, context, "bash", say("Print the script for bash: source <(panelctl completion bash)"));
    addVerb<Script<fish>>(group, context, "fish", say("Print the script for fish: panelctl completion fish | source"));
    addVerb<Script<zsh>>(group, context, "zsh", say("Print the script for zsh: source <(panelctl completion zsh)"));
}

} // namespace panelctl
