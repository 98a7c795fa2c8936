#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace support {

// The fields of one journal entry by their names.
using JournalEntry = std::map<std::string, std::string>;

// Runs `body` in a child process that sees a journal socket of its own at the journal's address and returns what it received
// there, read by the journal's native protocol. Nothing of it is visible outside. Nothing is returned when the system lets this
// process make no mount namespace. Throws when the child fails.
[[nodiscard]] std::optional<std::vector<JournalEntry>> entriesInOwnJournal(const std::function<void()>& body);

}
