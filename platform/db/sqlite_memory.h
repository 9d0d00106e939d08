// What SQLite leaves in memory.
#pragma once

namespace frame {

// From now on memory that SQLite gives back is overwritten first: pages and values with passwords pass through it.
// Does nothing when done before. False when this program has used SQLite already: then it is too late.
bool wipeSqliteMemory();

}  // namespace frame
