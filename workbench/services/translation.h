#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tonvale::workbench {

/// The texts of one language, read from a plain text file in UTF-8:
///
///     # A comment.
///     [tonvale_modname]
///     "Reverse" = "Umkehren"
///
/// A section is what a program asks for a text in; one for a dialog, such as tonvale_DLG_101, needs
/// to hold only what differs there from the section without the dialog, tonvale. In quotes \n and
/// \r are line ends, and \" and \\ stand for themselves.
class Translation {
  public:
    /// A translation of a printf format has to have the same conversions in the same order; one
    /// that hasn't is left out, as is what can't be read. `problems`, which may be null, gets a
    /// line for each: the line's number and what is wrong.
    static Translation parse(std::string_view file, std::vector<std::string> *problems);

    /// Null where there is none. Lives as long as this.
    const char *find(std::string_view section, std::string_view text) const;

    /// How many texts there are.
    size_t size() const;

  private:
    using Texts = std::map<std::string, std::string, std::less<>>;
    std::map<std::string, Texts, std::less<>> sections;
};

/// Chooses the language of the process: a name such as "de", whose file languages/de.txt lies in
/// the user's configuration folder or beside the program, or the path of a file. English is
/// "en" and needs none. False, and nothing changes, where there is no such file. Before a plug-in
/// is loaded, since they keep what they were told. Without a choice it is that of the environment's
/// TONVALE_LANGUAGE.
bool chooseLanguage(const std::string &nameOrPath);

/// Whether texts are translated at all.
bool isTranslating();

/// __localizeFunc: the translation of `text`, `text` itself where there is none. Lives as long as
/// the process. Any thread.
const char *localise(const char *text, const char *section, int flags);

} // namespace tonvale::workbench
