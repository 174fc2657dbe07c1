#include "catalog/catalog.h"
#include "catalog/schema.h"
#include "tools/miravex/commands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>

namespace miravex::tool {

namespace {

constexpr std::array shells { "bash", "zsh", "fish" };

std::string commandNames()
{
    std::vector<std::string_view> names;
    for (const Command& command : commands()) names.push_back(command.name);
    return fmt::format("{}", fmt::join(names, " "));
}

std::string operationNames()
{
    std::vector<std::string> names;
    for (const Operation* operation : catalog()) names.push_back(kebabCase(operation->name));
    return fmt::format("{}", fmt::join(names, " "));
}

/// "--padding" -> its choices, for every option of every operation that has choices.
std::vector<std::pair<std::string, std::string>> choicesOf(const Operation& operation)
{
    std::vector<std::pair<std::string, std::string>> choices;
    for (const Argument& argument : operation.arguments)
        if (!argument.choices.empty())
            choices.emplace_back(optionOf(argument), fmt::format("{}", fmt::join(argument.choices, " ")));
    return choices;
}

void printBash()
{
    fmt::print("# bash completion of miravex; written by: miravex completion bash\n"
               "_miravex_options() {{\n    case \"$1\" in\n");
    for (const Operation* operation : catalog())
        fmt::print("    {}) echo \"{}\" ;;\n", kebabCase(operation->name),
                   fmt::join(optionsOf(*operation), " "));
    fmt::print("    esac\n}}\n_miravex_choices() {{\n    case \"$1 $2\" in\n");
    for (const Operation* operation : catalog())
        for (const auto& [option, words] : choicesOf(*operation))
            fmt::print("    \"{} {}\") echo \"{}\" ;;\n", kebabCase(operation->name), option, words);
    fmt::print(
        "    esac\n}}\n_miravex() {{\n"
        "    local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD-1]}}\n"
        "    local operation=${{COMP_WORDS[1]}} choices\n"
        "    case \"$operation\" in run|batch|help|schema|gallery) operation=${{COMP_WORDS[2]}} ;; esac\n"
        "    if [[ $COMP_CWORD -eq 1 ]]; then\n"
        "        COMPREPLY=($(compgen -W \"{0} {1}\" -- \"$word\"))\n"
        "    elif [[ $COMP_CWORD -eq 2 && ${{COMP_WORDS[1]}} =~ ^(run|batch|help|schema)$ ]]; then\n"
        "        COMPREPLY=($(compgen -W \"{1}\" -- \"$word\"))\n"
        "    elif [[ $COMP_CWORD -eq 2 && ${{COMP_WORDS[1]}} == completion ]]; then\n"
        "        COMPREPLY=($(compgen -W \"{2}\" -- \"$word\"))\n"
        "    elif choices=$(_miravex_choices \"$operation\" \"$previous\") && [[ -n $choices ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$choices\" -- \"$word\"))\n"
        "    elif [[ $word == -* ]]; then\n"
        "        COMPREPLY=($(compgen -W \"$(_miravex_options \"$operation\")\" -- \"$word\"))\n"
        "    else\n"
        "        compopt -o filenames\n"
        "        COMPREPLY=($(compgen -f -- \"$word\"))\n"
        "    fi\n}}\ncomplete -F _miravex miravex\n",
        commandNames(), operationNames(), fmt::join(shells, " "));
}

/// Text within single quotes of a shell.
std::string shellQuoted(std::string_view text)
{
    std::string result = "'";
    for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

/// Text in the brackets of an argument that zsh completes.
std::string bracketed(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

std::string zshOption(const Argument& argument)
{
    const std::string option = optionOf(argument);
    const std::string summary = bracketed(argument.summary);
    if (argument.kind == Kind::Boolean) return shellQuoted(fmt::format("{}[{}]", option, summary));
    if (!argument.choices.empty())
        return shellQuoted(
            fmt::format("{}=[{}]:{}:({})", option, summary, argument.name, fmt::join(argument.choices, " ")));
    const bool isFile = argument.kind == Kind::Image || argument.isPath || argument.kind == Kind::RealTensor
        || argument.kind == Kind::IntegerTensor;
    return shellQuoted(fmt::format("{}=[{}]:{}:{}", option, summary, argument.name, isFile ? "_files" : " "));
}

void printZsh()
{
    fmt::print(
        "#compdef miravex\n# zsh completion of miravex; written by: miravex completion zsh\n"
        "_miravex_operation() {{\n    local -a common=('-o[where the result goes]:file:_files' "
        "'--overlay=[picture with the result drawn]:file:_files' '--type=[sample type]:type:(bit byte bit16 "
        "real32 real)' '--gray[as gray]' '--force[overwrite]' '--json[as JSON]' '--threads=[threads]:n: ')\n"
        "    case \"$1\" in\n");
    for (const Operation* operation : catalog()) {
        std::vector<std::string> options;
        for (const Argument& argument : operation->arguments)
            if (!isImplied(argument) && !isPositional(argument)) options.push_back(zshOption(argument));
        fmt::print("    {}) _arguments $common {} '*:file:_files' ;;\n", kebabCase(operation->name),
                   fmt::join(options, " "));
    }
    fmt::print("    *) _files ;;\n    esac\n}}\n_miravex() {{\n    local -a names=(\n");
    for (const Command& command : commands())
        fmt::print("        {}\n", shellQuoted(fmt::format("{}:{}", command.name, command.summary)));
    fmt::print("    )\n    local -a operations=(\n");
    for (const Operation* operation : catalog())
        fmt::print(
            "        {}\n",
            shellQuoted(fmt::format("{}:{}", kebabCase(operation->name), bracketed(operation->summary))));
    fmt::print("    )\n    if (( CURRENT == 2 )); then\n        _describe command names\n"
               "        _describe operation operations\n        return\n    fi\n"
               "    case \"$words[2]\" in\n"
               "    run|batch|help|schema)\n"
               "        if (( CURRENT == 3 )); then _describe operation operations\n"
               "        else local name=$words[3]; shift 2 words; (( CURRENT -= 2 )); _miravex_operation "
               "$name; fi ;;\n"
               "    completion) _values shell {} ;;\n"
               "    *) local name=$words[2]; shift words; (( CURRENT -= 1 )); _miravex_operation $name ;;\n"
               "    esac\n}}\n_miravex \"$@\"\n",
               fmt::join(shells, " "));
}

void printFishOption(const std::string& operation, const Argument& argument)
{
    const std::string condition = shellQuoted("__fish_seen_subcommand_from " + operation);
    fmt::print(
        "complete -c miravex -n {} -l {}{} -d {}\n", condition, optionOf(argument).substr(2),
        argument.kind == Kind::Boolean ? ""
            : argument.choices.empty()
            ? " -r"
            : fmt::format(" -x -a {}", shellQuoted(fmt::format("{}", fmt::join(argument.choices, " ")))),
        shellQuoted(argument.summary));
}

void printFish()
{
    fmt::print("# fish completion of miravex; written by: miravex completion fish\n");
    for (const Command& command : commands())
        fmt::print("complete -c miravex -n __fish_use_subcommand -f -a {} -d {}\n", command.name,
                   shellQuoted(command.summary));
    for (const Operation* operation : catalog()) {
        const std::string name = kebabCase(operation->name);
        fmt::print("complete -c miravex -n {} -f -a {} -d {}\n",
                   shellQuoted("__fish_use_subcommand; or __fish_seen_subcommand_from run batch help schema"),
                   name, shellQuoted(operation->summary));
        for (const Argument& argument : operation->arguments)
            if (!isImplied(argument) && !isPositional(argument)) printFishOption(name, argument);
    }
    fmt::print("complete -c miravex -n '__fish_seen_subcommand_from completion' -f -a '{}'\n",
               fmt::join(shells, " "));
    fmt::print("complete -c miravex -s o -l output -r -d 'where the result goes'\n"
               "complete -c miravex -l json -d 'results and errors as JSON'\n"
               "complete -c miravex -l force -d 'overwrite files'\n"
               "complete -c miravex -l threads -x -d 'threads that OpenCV uses'\n");
}

} // namespace

ExitStatus printCompletion(const std::string& shell)
{
    if (shell == "bash")
        printBash();
    else if (shell == "zsh")
        printZsh();
    else if (shell == "fish")
        printFish();
    else
        throw Failure(ExitStatus::Usage,
                      fmt::format("completion for which shell? expected one of {}", fmt::join(shells, ", ")));
    return ExitStatus::Done;
}

} // namespace miravex::tool
