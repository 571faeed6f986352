#include "Options.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace GuidanceTool
{

Options::Options(std::vector<Declaration> declarations) : m_declarations(std::move(declarations))
{
    m_declarations.push_back({"help", false});
}

void Options::Declare(const std::vector<Declaration>& declarations)
{
    m_declarations.insert(m_declarations.end(), declarations.begin(), declarations.end());
}

bool Options::ParseOrHelp(const std::vector<std::string>& args, const char* help)
{
    Parse(args);
    if (!Has("help"))
        return true;
    std::fputs(help, stdout);
    std::fputs(kExitStatusHelp, stdout);
    return false;
}

void Options::Parse(const std::vector<std::string>& args)
{
    for (std::size_t i = 0; i < args.size(); ++i)
    {
        const std::string& word = args[i];
        if (word == "--")
        {
            m_positional.insert(m_positional.end(), args.begin() + i + 1, args.end());
            return;
        }
        if (word.compare(0, 2, "--") != 0)
        {
            // "-" alone names standard input or output; other single-dash words are options we lack.
            if (word.size() > 1 && word[0] == '-')
                throw BadInput(word, "unknown option");
            m_positional.push_back(word);
            continue;
        }
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
        const Declaration* declaration = Find(name);
        if (declaration == nullptr)
            throw BadInput("--" + name, "unknown option");
        if (!declaration->takesValue)
        {
            if (equals != std::string::npos)
                throw BadInput("--" + name, "takes no value");
            m_values[name] = "";
        }
        else if (equals != std::string::npos)
            m_values[name] = word.substr(equals + 1);
        else if (i + 1 < args.size())
            m_values[name] = args[++i];
        else
            throw BadInput("--" + name, "needs a value");
    }
}

bool Options::Has(const std::string& name) const
{
    return m_values.count(name) != 0;
}

std::string Options::Get(const std::string& name, const std::string& fallback) const
{
    const auto found = m_values.find(name);
    return found == m_values.end() ? fallback : found->second;
}

double Options::GetDouble(const std::string& name, double fallback, double lowest, double highest) const
{
    if (!Has(name))
        return fallback;
    double value = 0;
    const std::string text = Get(name, "");
    if (!ParseWholeDouble(text, value))
        throw BadInput("--" + name, "needs a number", "not '" + text + "'");
    CheckRange("--" + name, value, lowest, highest);
    return value;
}

int Options::GetInt(const std::string& name, int fallback, int lowest, int highest) const
{
    const double value = GetDouble(name, fallback, lowest, highest);
    if (value != std::floor(value))
        throw BadInput("--" + name, "needs a whole number", "not '" + Get(name, "") + "'");
    return static_cast<int>(value);
}

const Options::Declaration* Options::Find(const std::string& name) const
{
    for (const Declaration& declaration : m_declarations)
        if (declaration.name == name)
            return &declaration;
    return nullptr;
}

void CheckRange(const std::string& subject, double value, double lowest, double highest)
{
    if (value < lowest || value > highest)
    {
        char range[96];
        std::snprintf(range, sizeof range, "must be from %g to %g, not %g", lowest, highest, value);
        throw BadInput(subject, "out of range", range);
    }
}

bool ParseWholeDouble(const std::string& text, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const double parsed = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || errno == ERANGE || !std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

} // namespace GuidanceTool
