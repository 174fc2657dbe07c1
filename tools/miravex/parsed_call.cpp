#include "tools/miravex/parsed_call.h"

#include "catalog/catalog.h"
#include "catalog/schema.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <deque>

namespace miravex::tool {

namespace {

std::string withoutValue(const std::string& word) { return word.substr(0, word.find('=')); }

std::string unknownOption(const std::string& word, const std::vector<std::string>& known,
                          const std::string& command)
{
    const std::string given = withoutValue(word);
    std::string text = fmt::format("unknown option {}", given);
    const auto near = closest(given, known);
    if (!near.empty()) text += fmt::format("; did you mean {}?", fmt::join(near, " or "));
    return text + fmt::format(" ({} --help shows all)", command);
}

void refuseExtras(const CLI::App& app, const std::vector<std::string>& known)
{
    for (const std::string& extra : app.remaining(true))
        throw Failure(ExitStatus::Usage,
                      extra.starts_with('-') ? unknownOption(extra, known, app.get_name())
                                             : fmt::format("unexpected word \"{}\"", extra));
}

/// "--x -1,0" becomes "--x=-1,0", so that a value that starts with a dash is no option, and "--flag false"
/// "--flag=false".
std::vector<std::string> joined(const std::vector<std::string>& words, const CLI::App& app)
{
    std::vector<std::string> result;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const CLI::Option* option = words[i].starts_with("--") ? app.get_option_no_throw(words[i]) : nullptr;
        const bool takesValue = option != nullptr && option->get_expected_min() > 0;
        const std::string next = i + 1 < words.size() ? words[i + 1] : "";
        const bool dashed = next.size() > 1 && next.starts_with('-') && !next.starts_with("--");
        const bool spelt = option != nullptr && !takesValue && (next == "true" || next == "false");
        if (!(takesValue && dashed) && !spelt) {
            result.push_back(words[i]);
            continue;
        }
        result.push_back(words[i] + "=" + next);
        ++i;
    }
    return result;
}

/// The options of one call; they keep what they parse until it is moved into ParsedCall.
class CallParser {
public:
    explicit CallParser(const Operation& operation)
        : app_("")
    {
        app_.set_help_flag();
        words_.operation = &operation;
        app_.add_option("files", words_.files);
        for (const Argument& argument : operation.arguments)
            if (!isImplied(argument)) addArgument(argument);
        app_.add_option("-o,--output", words_.output);
        if (isFree("--format")) app_.add_option("--format", words_.format);
        // A record's own argument of the same name goes first.
        if (isFree("--overlay")) app_.add_option("--overlay", words_.overlay);
        if (findsMatches(operation)) addScene();
        if (isFree("--type")) app_.add_option("--type", words_.pixelType);
        if (isFree("--gray")) app_.add_flag("--gray,--grey", words_.gray);
        if (isFree("--max-frames"))
            app_.add_option("--max-frames", words_.frames)->check(CLI::PositiveNumber);
        app_.add_flag("-h,--help", words_.help);
    }

    CLI::App& app() { return app_; }

    ParsedCall parse(const std::vector<std::string>& words)
    {
        parseWords(app_, words, optionsOf(*words_.operation));
        for (const auto& [name, value] : values_)
            if (app_.get_option("--" + dashed(name))->count() > 0) words_.options[name] = value;
        for (const auto& [name, flag] : flags_) {
            if (app_.get_option("--" + dashed(name))->count() == 0) continue;
            (flag ? words_.set : words_.unset).push_back(name);
        }
        return std::move(words_);
    }

private:
    static std::string dashed(std::string name)
    {
        std::ranges::replace(name, '_', '-');
        return name;
    }

    void addScene()
    {
        app_.add_option("--query-picture", words_.scene.queryPicture);
        app_.add_option("--train-picture", words_.scene.trainPicture);
        app_.add_option("--query-keypoints", words_.scene.queryKeypoints);
        app_.add_option("--train-keypoints", words_.scene.trainKeypoints);
    }

    bool isFree(const std::string& option) const { return app_.get_option_no_throw(option) == nullptr; }

    void addArgument(const Argument& argument)
    {
        const std::string option = optionOf(argument);
        const std::string name(argument.name);
        if (argument.kind == Kind::Boolean) {
            flags_.emplace_back(name, false);
            app_.add_flag(fmt::format("{},!--no-{}", option, option.substr(2)), flags_.back().second);
            return;
        }
        values_.emplace_back(name, "");
        app_.add_option(option, values_.back().second);
    }

    CLI::App app_;
    ParsedCall words_;
    std::deque<std::pair<std::string, std::string>> values_; // addresses stay
    std::deque<std::pair<std::string, bool>> flags_;
};

} // namespace

void addSettings(CLI::App& app, Settings& settings)
{
    app.add_flag("--json", settings.json, "Results, reports and errors as JSON");
    app.add_flag("--force", settings.force, "Overwrite files that exist");
    app.add_flag("-q,--quiet", settings.quiet, "No notes on standard error");
    app.add_option("--threads", settings.threads, "Threads that OpenCV uses")->check(CLI::NonNegativeNumber);
}

bool isPositional(const Argument& argument)
{
    return argument.kind == Kind::Image && !argument.optional && !isImplied(argument);
}

bool findsMatches(const Operation& operation)
{
    return std::ranges::find(operation.results, Layout::Matches, &Result::layout) != operation.results.end();
}

std::vector<std::string> optionsOf(const Operation& operation)
{
    std::vector<std::string> options;
    for (const Argument& argument : operation.arguments) {
        if (isImplied(argument)) continue;
        options.push_back(optionOf(argument));
        if (argument.kind == Kind::Boolean) options.push_back("--no-" + optionOf(argument).substr(2));
    }
    if (findsMatches(operation))
        options.insert(options.end(),
                       { "--query-picture", "--train-picture", "--query-keypoints", "--train-keypoints" });
    options.insert(options.end(),
                   { "--output", "--format", "--overlay", "--type", "--gray", "--max-frames", "--help",
                     "--json", "--force", "--quiet", "--threads" });
    return options;
}

void parseWords(CLI::App& app, std::vector<std::string> words, const std::vector<std::string>& known)
{
    std::vector<std::string> reversed = joined(words, app);
    std::ranges::reverse(reversed);
    try {
        app.parse(reversed);
    } catch (const CLI::ExtrasError& error) {
        refuseExtras(app, known);
        throw Failure(ExitStatus::Usage, error.what());
    } catch (const CLI::ParseError& error) {
        throw Failure(ExitStatus::Usage, error.what());
    }
}

ParsedCall parseCall(const Operation& operation, std::vector<std::string> words, Settings& settings)
{
    CallParser parser(operation);
    parser.app().name("miravex " + kebabCase(operation.name));
    addSettings(parser.app(), settings);
    return parser.parse(words);
}

} // namespace miravex::tool
