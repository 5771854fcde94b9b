// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/completion.h"
#include "tools/manual/value_kind.h"

namespace manual {
namespace {

std::string kind_words(const Value &value) {
    const std::string list = value.is_list ? "list " : "";
    switch (value.kind) {
    case Value::Kind::words:
        return list + "words " + joined(value.words, " ");
    case Value::Kind::files:
        return "files";
    case Value::Kind::commands:
        return "commands";
    case Value::Kind::as_the_word_before:
        return "before";
    case Value::Kind::unknown:
        return "unknown";
    default:
        return list + value.verb();
    }
}

std::string names_of(const std::vector<Option> &options) {
    std::vector<std::string> names;
    for (const Option &option : options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return joined(names, " ");
}

// The rows of the table of options with a value.
std::string value_rows(const std::string &verb, const std::vector<Option> &options) {
    std::string rows;
    for (const Option &option : options) {
        for (const std::string &name : option.names) {
            if (!option.is_flag()) {
                rows += "    " + verb + ":" + name + ") echo '" + kind_words(value_of(option)) + "' ;;\n";
            }
        }
    }
    return rows;
}

std::string operand_rows(const Command &verb) {
    std::string rows;
    int place = 0;
    for (const Option &operand : verb.operands()) {
        rows += "    " + verb.name + ":" + std::to_string(place++) + ") echo '" +
                kind_words(value_of(operand)) + "' ;;\n";
    }
    return rows;
}

// A function with one `case`.
std::string table(const std::string &name, const std::string &subject, const std::string &rows,
                  const std::string &otherwise) {
    return name + "() {\n    case " + subject + " in\n" + rows + "    *) " + otherwise + " ;;\n    esac\n}\n";
}

} // namespace

std::string bash_completion(const Command &program, const std::string &functions) {
    const std::string function = "_" + program.name;
    const std::string common = names_of(program.options());
    std::vector<std::string> verbs;
    std::string options;
    std::string values;
    std::string operands;
    for (const Command &verb : program.commands) {
        verbs.push_back(verb.name);
        std::vector<Option> own = verb.options();
        std::erase_if(own, [](const Option &option) { return option.long_name() == "--help"; });
        options +=
            "    " + verb.name + ") echo '" + names_of(own) + (own.empty() ? "" : " ") + common + "' ;;\n";
        values += value_rows(verb.name, own);
        operands += operand_rows(verb);
    }
    values += value_rows("*", program.options());
    return "# Completion of " + program.name +
           " for bash, made from its options. Do not edit.\n"
           "# shellcheck shell=bash\n\n" +
           function + "_verbs() {\n    echo '" + joined(verbs, " ") + "'\n}\n\n" +
           table(function + "_options", "$1", options, "echo '" + common + "'") + "\n# " + function +
           "_value VERB OPTION: the kind of the option's value; fails for a flag.\n" +
           table(function + "_value", "$1:$2", values, "return 1") + "\n# " + function +
           "_operand VERB PLACE: the kind of the operand behind that many others.\n" +
           table(function + "_operand", "$1:$2", operands, "echo unknown") +
           replaced(replaced(without_head(functions), "FUNCTION", function), "PROGRAM", program.name);
}

} // namespace manual
