#pragma once

namespace tonvale {

/// Flags of localizedText: the text is a printf format, and the cache is to be passed by.
constexpr int localizeFormat = 1;
constexpr int localizeUncached = 2;

/// The one road to a translated text. `text` and `section` are constants that live as long as the
/// module: the cache behind this goes by their addresses. Without a translation by the host the
/// result is `text`. The result lives as long as the process. Any thread.
const char *localizedText(const char *text, const char *section, int flags);

} // namespace tonvale
