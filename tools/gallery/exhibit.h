#pragma once

#include "tools/gallery/gallery_page.h"
#include "tools/miravex/perform.h"

#include <filesystem>
#include <initializer_list>
#include <string>

namespace miravex::tool {

/// Fills an exhibit with a call that was made: its figures, which are put into `folder`/pictures under names
/// that begin with `stem`, and its numbers.
void show(const Performed& performed, const ParsedCall& parsed, const std::filesystem::path& folder,
          const std::string& stem, Exhibit& exhibit);

/// Puts the result itself into `folder`/results, in a file of each of these forms.
void keepResult(const Performed& performed, const std::filesystem::path& folder, const std::string& stem,
                std::initializer_list<const char*> extensions, Exhibit& exhibit);

} // namespace miravex::tool
