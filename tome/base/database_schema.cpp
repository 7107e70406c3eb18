#include "tome/base/database_schema.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace tome {
namespace {

constexpr std::size_t max_named_bytes = 100;

bool is_white_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

// The statement with single spaces and without comments. No quoted text hides a comment's beginning: none of our
// statements has a quote, so one with quotes is equal to none of them, whatever is left of it.
std::string canonical(std::string_view sql) {
    std::string result;
    bool space = false;
    while (!sql.empty()) {
        if (sql.starts_with("--")) {
            sql.remove_prefix(std::min(sql.find('\n'), sql.size()));
            space = true;
            continue;
        }
        if (is_white_space(sql.front())) {
            space = true;
        } else {
            result += space ? " " : "";
            result += sql.front();
            space = false;
        }
        sql.remove_prefix(1);
    }
    return result;
}

// The table's name in a canonical statement.
std::string name_in(const std::string& statement) {
    constexpr std::string_view begin = "CREATE TABLE ";
    return statement.substr(begin.size(), statement.find(' ', begin.size()) - begin.size());
}

}  // namespace

void create_tables(Database& database, Tables tables, int version) {
    Transaction transaction(database);
    for (const char* table : tables) {
        database.execute(table);
    }
    database.execute(("PRAGMA user_version = " + std::to_string(version)).c_str());
    transaction.commit();
}

std::string difference_from(Tables tables, Database& database) {
    std::map<std::string, std::string> missing;  // statements by the table's name
    for (const char* table : tables) {
        std::string statement = canonical(table);
        std::string name = name_in(statement);
        missing.emplace(std::move(name), std::move(statement));
    }
    Statement query = database.prepare("SELECT type, name, sql FROM sqlite_master");
    while (query.step()) {
        const std::string type(query.bytes(0));
        const std::string name(query.bytes(1).substr(0, max_named_bytes));
        if (type == "index" && query.is_null(2)) {
            continue;  // SQLite's own, for a key or a unique column of a table.
        }
        const auto table = missing.find(name);
        if (type != "table" || table == missing.end() || canonical(query.bytes(2)) != table->second) {
            return type + " " + name;
        }
        missing.erase(table);
    }
    return missing.empty() ? "" : "no table " + missing.begin()->first;
}

}  // namespace tome
