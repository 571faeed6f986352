// Command-line options of one subcommand: "--name value", "--name=value" and
// bare flags, plus positional arguments. Every option must be declared, so a
// misspelt one is reported instead of silently ignored.
// Not thread-safe: parsed and read on the main thread.
#ifndef GUIDANCE_OPTIONS_H
#define GUIDANCE_OPTIONS_H

#include "ToolError.h"

#include <map>
#include <string>
#include <vector>

namespace GuidanceTool
{

class Options
{
public:
    // One declared option; takesValue false makes it a flag.
    struct Declaration
    {
        std::string name;  // without the leading "--"
        bool takesValue;
    };

    // Declares the given options and "--help".
    explicit Options(std::vector<Declaration> declarations);

    // Declares further options.
    void Declare(const std::vector<Declaration>& declarations);

    // Parses args and, when "--help" is among them, prints help and the exit
    // status table on standard output and returns false: the command has
    // nothing more to do.
    bool ParseOrHelp(const std::vector<std::string>& args, const char* help);

    // Parses args (the words after the subcommand). Throws ToolError for an
    // undeclared option, a missing value, or a value given to a flag.
    void Parse(const std::vector<std::string>& args);

    bool Has(const std::string& name) const;
    // The option's value, or fallback when it was not given.
    std::string Get(const std::string& name, const std::string& fallback) const;
    // Numeric values within [lowest, highest]; a value that is not entirely
    // a number, or lies outside the range, throws ToolError.
    double GetDouble(const std::string& name, double fallback, double lowest, double highest) const;
    int GetInt(const std::string& name, int fallback, int lowest, int highest) const;

    const std::vector<std::string>& Positional() const { return m_positional; }

private:
    // The declaration named name, or null.
    const Declaration* Find(const std::string& name) const;

    std::vector<Declaration> m_declarations;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_positional;
};

// Throws ToolError naming subject when value lies outside [lowest, highest].
void CheckRange(const std::string& subject, double value, double lowest, double highest);

// Parses the whole of text as a number; false for empty text or trailing characters.
bool ParseWholeDouble(const std::string& text, double& value);

} // namespace GuidanceTool

#endif
