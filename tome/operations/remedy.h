// What to do about a database that cannot be read: it depends on where it lies, and whether what it held is elsewhere.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tome {

/// For the text of an Error(Corrupt) that names an index, a database or a store of this checkout, of its shared store
/// or of its repository on the remote: "; " and what helps. Empty for any other text, and where no checkout is.
std::string remedy_for(std::string_view text, const std::filesystem::path& checkout);

}  // namespace tome
