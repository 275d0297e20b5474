#include "client/texts/bash_completion.h"

#include <set>
#include <vector>

#include "client/words/commands.h"
#include "client/words/local_commands.h"
#include "client/words/options.h"

namespace client {
namespace {

using word_list = std::vector<std::string>;

std::string joined(const word_list &words, const char *separator) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

word_list option_names(bool with_value, const char *value) {
    word_list names;
    for (const option_row &row : all_options()) {
        const bool fits =
            !with_value ||
            (row.value != nullptr && (value == nullptr || std::string_view(row.value) == value));
        if (!fits) {
            continue;
        }
        names.emplace_back(row.long_name);
        if (row.short_name != nullptr) {
            names.emplace_back(row.short_name);
        }
    }
    return names;
}

word_list command_names() {
    word_list names;
    for (const local_command &row : local_commands()) {
        names.emplace_back(row.name);
    }
    for (const command &row : all_commands()) {
        names.emplace_back(row.name);
    }
    return names;
}

// The words after which a value follows that nobody can guess.
std::string valued_words() {
    std::set<std::string> words;
    for (const command &row : all_commands()) {
        for (const keyword &word : row.keywords) {
            if (word.value != nullptr) {
                words.insert(word.name);
            }
        }
    }
    return joined({words.begin(), words.end()}, "|");
}

// A case of the script for each command with words of its own.
std::string word_cases() {
    std::string text;
    for (const command &row : all_commands()) {
        word_list words;
        for (const keyword &word : row.keywords) {
            words.emplace_back(word.name);
        }
        if (!words.empty()) {
            text +=
                "        " + std::string(row.name) + ") words='" + joined(words, " ") + "' ;;\n";
        }
    }
    for (const local_command &row : local_commands()) {
        const std::string_view form = row.form;
        const bool file = form.find("FILE") != std::string_view::npos;
        const bool name = form.find("NAME") != std::string_view::npos;
        text += "        " + std::string(row.name) + ")";
        text += row.option != nullptr ? std::string(" words='") + row.option + "'" : "";
        text += file ? " files=yes" : "";
        text += name ? " words=$commands" : "";
        text += " ;;\n";
    }
    return text;
}

constexpr const char *script = R"(# Completion of plu_debug in bash.

_plu_debug() {
    local commands='@COMMANDS@'
    local options='@OPTIONS@'
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' used=' ' words='' files='' i
    COMPREPLY=()
    # bash takes --file=NAME for three words.
    [[ $word == '=' ]] && word=''
    [[ $previous == '=' ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        @VALUED_OPTIONS@) [[ ${COMP_WORDS[i + 1]} == '=' ]] && ((i++)); ((i++)) ;;
        -*) used+="${COMP_WORDS[i]} " ;;
        *) if [[ $command ]]; then used+="${COMP_WORDS[i],,} "; else command=${COMP_WORDS[i],,}; fi ;;
        esac
    done
    case $previous in
    @FILE_OPTIONS@) _plu_debug_files "$word"; return ;;
    @VALUED_OPTIONS@) return ;;
    esac
    if [[ ! $command ]]; then
        words=$commands
    elif [[ ${previous,,} == @(@VALUED_WORDS@) ]]; then
        return
    else
        case $command in
@CASES@        esac
    fi
    [[ $word == -* ]] && words+=" $options"
    for i in $words; do
        [[ $i == "${word,,}"* && $used != *" $i "* ]] && COMPREPLY+=("$i")
    done
    [[ $files && $word != -* ]] && _plu_debug_files "$word"
}

_plu_debug_files() {
    local file
    compopt -o filenames 2>/dev/null
    while IFS= read -r file; do COMPREPLY+=("$file"); done < <(compgen -f -- "$1")
}

complete -F _plu_debug plu_debug
)";

void replace_all(std::string &text, const std::string &mark, const std::string &value) {
    for (size_t place = 0; (place = text.find(mark, place)) != std::string::npos;
         place += value.size()) {
        text.replace(place, mark.size(), value);
    }
}

}    // namespace

std::string bash_completion() {
    std::string text = script;
    replace_all(text, "@COMMANDS@", joined(command_names(), " "));
    replace_all(text, "@OPTIONS@", joined(option_names(false, nullptr), " "));
    replace_all(text, "@FILE_OPTIONS@", joined(option_names(true, "FILE"), " | "));
    replace_all(text, "@VALUED_OPTIONS@", joined(option_names(true, nullptr), " | "));
    replace_all(text, "@VALUED_WORDS@", valued_words());
    replace_all(text, "@CASES@", word_cases());
    return text;
}

}    // namespace client
