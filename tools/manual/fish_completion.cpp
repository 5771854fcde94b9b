// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/completion.h"
#include "tools/manual/value_kind.h"

namespace manual {
namespace {

std::string quoted(const std::string &text) {
    return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

// The part of a `complete` command about a value.
std::string value_part(const Value &value, const std::string &function) {
    const auto list = [&](const std::string &command) {
        return value.is_list ? "(__fish_complete_list , " + quoted(command) + ")" : "(" + command + ")";
    };
    switch (value.kind) {
    case Value::Kind::words:
        return " -a " + quoted(value.is_list ? list("printf \"%s\\n\" " + joined(value.words, " "))
                                             : joined(value.words, " "));
    case Value::Kind::commands:
        return " -a '(__fish_complete_command)'";
    case Value::Kind::as_the_word_before:
        return " -a '(" + function + "_members_of_word)'";
    case Value::Kind::files:
    case Value::Kind::unknown:
        return "";
    default:
        return " -a " + quoted(list(function + "_members " + value.verb() + " " + value.key()));
    }
}

// Files are offered only where they are wanted.
std::string file_part(const Value &value) {
    return value.kind == Value::Kind::files ? " -r -F" : " -x";
}

std::string option_lines(const std::string &begin, const std::vector<Option> &options,
                         const std::string &function) {
    std::string lines;
    for (const Option &option : options) {
        std::string line = begin;
        for (const std::string &name : option.names) {
            line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
        }
        if (!option.is_flag()) {
            const Value value = value_of(option);
            line += file_part(value) + value_part(value, function);
        }
        lines += line + " -d " + quoted(first_line(option.help)) + "\n";
    }
    return lines;
}

std::string operand_lines(const Command &verb, const std::string &begin, const std::string &function) {
    std::string lines;
    int place = 0;
    for (const Option &operand : verb.operands()) {
        const Value value = value_of(operand);
        const std::string condition =
            " -n '" + function + "_at " + verb.name + " " + std::to_string(place++) + "'";
        if (value.kind == Value::Kind::files) {
            lines += begin + condition + " -F\n";
        } else if (value.kind != Value::Kind::unknown) {
            lines += begin + condition + value_part(value, function) + "\n";
        }
    }
    return lines;
}

std::string names_with_value(const Command &program) {
    std::vector<std::string> names;
    const auto add = [&](const Command &command) {
        for (const Option &option : command.options()) {
            if (!option.is_flag()) {
                names.insert(names.end(), option.names.begin(), option.names.end());
            }
        }
    };
    add(program);
    for (const Command &verb : program.commands) {
        add(verb);
    }
    return joined(names, " ");
}

} // namespace

std::string fish_completion(const Command &program, const std::string &functions) {
    const std::string function = "__" + program.name;
    const std::string begin = "complete -c " + program.name;
    std::string text = "# Completion of " + program.name + " for fish, made from its options. Do not edit.\n" +
                       replaced(replaced(without_head(functions), "FUNCTION", function), "WITH_VALUE",
                                names_with_value(program)) +
                       "\n" + begin + " -f\n" + option_lines(begin, program.options(), function);
    for (const Command &verb : program.commands) {
        std::vector<Option> own = verb.options();
        std::erase_if(own, [](const Option &option) { return option.long_name() == "--help"; });
        text += "\n" + begin + " -n '" + function + "_in \"\"' -a " + verb.name + " -d " +
                quoted(first_line(verb.help)) + "\n" +
                option_lines(begin + " -n '" + function + "_in " + verb.name + "'", own, function) +
                operand_lines(verb, begin, function);
    }
    return text;
}

} // namespace manual
