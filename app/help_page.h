// The help pages the dialog's Help buttons open: one per kind, made from
// the kind's page table and a short description, an index of all kinds and
// a page on colours. The build writes them beside the plug-in; `tsntxtr
// describe KIND --html` writes the same page.
#pragma once

#include <string>

namespace tsn {

// The page of kind `kind` (0 .. 22); empty for any other index.
std::string KindHelpPage(int kind);
// "index.html": every kind with its description, and the library dialog.
std::string HelpIndexPage();
// "colors.html": the colour dialog and the colour database.
std::string ColoursHelpPage();
// One or two sentences on what kind `key` draws (the help pages, the
// README's table through `tsntxtr list --markdown`); empty for no kind.
const char* DescriptionOf(const char* key);

// The file name of kind `kind`'s page: "<key>.html".
std::string KindHelpFileName(int kind);

}  // namespace tsn
