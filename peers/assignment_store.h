// Which trap server serves which NE, as a stand-in was told: in an SQLite file, so that it survives the stand-in.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "reliable/sqlite.h"

namespace peers {

// All operations may be called from any thread. They throw frame::sqlite::Error, a std::runtime_error, when the file
// cannot be used; then nothing was changed.
class AssignmentStore {
public:
    using Assignments = std::vector<std::pair<std::string, int>>;

    // Makes the file when it is missing. What is thrown names it.
    explicit AssignmentStore(const std::string& file);

    // Of an NE that is there twice, or was known before, the last number stays.
    void assign(const Assignments& assignments);
    // NEs that are not known do not matter.
    void remove(const std::vector<std::string>& neIPs);
    std::map<std::string, int> all();

private:
    std::mutex mutex_;
    frame::sqlite::Database database_;
    frame::sqlite::WriteTransactions transactions_;
    frame::sqlite::Statement insert_;
    frame::sqlite::Statement remove_;
    frame::sqlite::Statement all_;
};

}  // namespace peers
