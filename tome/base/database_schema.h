// The tables of a database, made and checked. A database must hold exactly these: a view, a trigger or a changed table
// that somebody else put there would run with every use.
#pragma once

#include <span>
#include <string>

#include "tome/base/database.h"

namespace tome {

/// The statements that make a database's tables, without quotes in them.
using Tables = std::span<const char* const>;

/// Makes the tables in an empty database, whose format becomes `version`.
void create_tables(Database& database, Tables tables, int version = 1);

/// What the database holds otherwise than `tables` say, white space and comments aside, for example "view branch";
/// empty when it holds just these.
std::string difference_from(Tables tables, Database& database);

}  // namespace tome
