// Advice for an error about a damaged database. It depends on where the database is, and on whether its contents exist
// elsewhere.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tome {

/// For the text of an Error(Corrupt) that names an index, a database or a store of this checkout, of its shared store
/// or of its repository on the remote: "; " and what helps. Empty for any other text, and where no checkout is.
std::string remedy_for(std::string_view text, const std::filesystem::path& checkout);

}  // namespace tome
