#include "cli/UsageText.h"

#include <CLI/CLI.hpp>
#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/replace.hpp>

#include "cli/NearWord.h"
#include "corvan/Utf8.h"

namespace cli
{

namespace
{

using Words = std::vector<std::string>;

String Quoted(const std::string &typed)
{
    return "'" + corvan::Excerpt(typed) + "'";
}

Words VerbsOf(const CLI::App &app)
{
    Words verbs;
    for (const CLI::App *verb : app.get_subcommands([](const CLI::App *) { return true; }))
        verbs.push_back(verb->get_name());
    return verbs;
}

// Long names with their dashes, those of every verb last.
Words OptionsOf(const CLI::App &app)
{
    Words names;
    const auto take = [&names](const CLI::App &of)
    {
        for (const CLI::Option *option : of.get_options())
            for (const std::string &name : option->get_lnames())
                names.push_back("--" + name);
    };
    for (const CLI::App *verb : app.get_subcommands())
        take(*verb);
    take(app);
    return names;
}

// The first argument that is neither an option nor the value of one that stands before the verb.
std::string FirstPlain(const CLI::App &app, const Words &arguments)
{
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        if (!arguments[i].starts_with('-'))
            return arguments[i];
        const CLI::Option *option = app.get_option_no_throw(arguments[i]);
        if (option && option->get_items_expected_min() > 0)
            ++i;
    }
    return {};
}

String MeantText(const std::string &typed, const Words &words)
{
    const std::string near = NearWord(typed, words);
    return near.empty() ? "" : "; did you mean '" + near + "'?";
}

String NoVerbText(const std::string &typed, const Words &verbs)
{
    if (typed.empty())
        return "what is to be done? Give one of " + boost::algorithm::join(verbs, ", ");
    String meant = MeantText(typed, verbs);
    if (meant.empty())
        meant = "; there are " + boost::algorithm::join(verbs, ", ");
    return Quoted(typed) + " is no verb" + meant;
}

String ExtraText(const CLI::App &app, const std::string &typed)
{
    const std::string name = typed.substr(0, typed.find('='));
    if (name.size() > 1 && name.starts_with('-'))
        return "there is no option " + Quoted(name) + MeantText(name, OptionsOf(app));
    return Quoted(typed) + " is one argument too many";
}

// The first that nothing takes.
std::string ExtraOf(const CLI::App &app)
{
    for (const CLI::App *verb : app.get_subcommands())
        if (const auto extras = verb->remaining(); !extras.empty())
            return extras.front();
    const auto extras = app.remaining();
    return extras.empty() ? std::string() : extras.front();
}

// What the parser says begins with the name of what it is about.
std::string NameIn(const std::string &text)
{
    return text.substr(0, text.find_first_of(": "));
}

} // namespace

String UsageText(const CLI::App &app, const CLI::ParseError &error, const Words &arguments)
{
    const Words verbs = VerbsOf(app);
    if (const std::string first = FirstPlain(app, arguments);
        std::ranges::find(verbs, first) == verbs.end())
        return NoVerbText(first, verbs);

    const std::string text = error.what();
    if (const std::string extra = ExtraOf(app); !extra.empty())
        return ExtraText(app, extra);
    if (dynamic_cast<const CLI::ArgumentMismatch *>(&error))
        return NameIn(text) + " wants a value";
    if (dynamic_cast<const CLI::RequiredError *>(&error))
        return NameIn(text) + " is missing";
    if (dynamic_cast<const CLI::ExcludesError *>(&error))
        return boost::algorithm::replace_all_copy(text, " excludes ", " does not go with ");
    if (dynamic_cast<const CLI::RequiresError *>(&error))
        return boost::algorithm::replace_all_copy(text, " requires ", " goes with ");
    return text;
}

} // namespace cli
