// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/completion.h"
#include "tools/manual/value_kind.h"

namespace manual {
namespace {

// The text inside an argument of _arguments, which itself stands in single quotes.
std::string quoted(std::string text) {
    for (const char *special : {"\\", "[", "]", ":"}) {
        text = replaced(text, special, "\\" + std::string(special));
    }
    return replaced(text, "'", "'\\''");
}

std::string action(const Value &value, const std::string &function) {
    switch (value.kind) {
    case Value::Kind::words:
        return value.is_list ? "_sequence compadd - " + joined(value.words, " ")
                             : "(" + joined(value.words, " ") + ")";
    case Value::Kind::files:
        return "_files";
    case Value::Kind::commands:
        return "_command_names -e";
    case Value::Kind::as_the_word_before:
        return function + "_members_of_word";
    case Value::Kind::unknown:
        return " ";
    default:
        return (value.is_list ? "_sequence " : "") + function + "_" + value.verb();
    }
}

std::string option_arguments(const std::vector<Option> &options, const std::string &function,
                             const std::string &indent) {
    std::string lines;
    for (const Option &option : options) {
        for (const std::string &name : option.names) {
            const std::string equals = name.starts_with("--") ? "=" : "+";
            lines += indent + "'" + name + (option.is_flag() ? "" : equals) + "[" +
                     quoted(first_line(option.help)) + "]";
            if (!option.is_flag()) {
                lines += ":" + quoted(option.type) + ":" + action(value_of(option), function);
            }
            lines += "'\n";
        }
    }
    return lines;
}

std::string operand_arguments(const Command &verb, const std::string &function, const std::string &indent) {
    std::string lines;
    for (const Option &operand : verb.operands()) {
        lines += indent + "'" + (operand.required ? ":" : "::") + quoted(operand.operand) + ":" +
                 action(value_of(operand), function) + "'\n";
    }
    return lines;
}

std::string verb_case(const Command &verb, const std::string &function) {
    std::vector<Option> own = verb.options();
    std::erase_if(own, [](const Option &option) { return option.long_name() == "--help"; });
    const std::string indent(12, ' ');
    return "    " + verb.name + ")\n        described=($common\n" + option_arguments(own, function, indent) +
           operand_arguments(verb, function, indent) + "        )\n        ;;\n";
}

} // namespace

std::string zsh_completion(const Command &program, const std::string &functions) {
    const std::string function = "_" + program.name;
    std::string text = "#compdef " + program.name + "\n# Completion of " + program.name +
                       " for zsh, made from its options. Do not edit.\n" +
                       replaced(without_head(functions), "FUNCTION", function) + "\n" + function + "() {\n" +
                       "    local curcontext=$curcontext state line ret=1\n"
                       "    typeset -A opt_args\n    local -a common described verbs\n    common=(\n" +
                       option_arguments(program.options(), function, std::string(8, ' ')) + "    )\n";
    if (program.commands.empty()) {
        return text + "    _arguments -s -S $common\n}\n\n" + function + " \"$@\"\n";
    }
    text += "    verbs=(\n";
    for (const Command &verb : program.commands) {
        text += "        '" + verb.name + ":" + quoted(first_line(verb.help)) + "'\n";
    }
    text += "    )\n"
            "    _arguments -C $common ': :->verb' '*::: :->words' && ret=0\n"
            "    if [[ $state == verb ]]; then\n"
            "        _describe -t commands command verbs && ret=0\n"
            "        return ret\n"
            "    fi\n"
            "    [[ $state == words ]] || return ret\n"
            "    words=($line[1] \"${words[@]}\")\n"
            "    ((CURRENT += 1))\n"
            "    described=($common)\n"
            "    case $line[1] in\n";
    for (const Command &verb : program.commands) {
        text += verb_case(verb, function);
    }
    return text + "    esac\n    _arguments $described && ret=0\n    return ret\n}\n\n" + function +
           " \"$@\"\n";
}

} // namespace manual
