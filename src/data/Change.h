#pragma once

// What happened to a row; Reset: reread the whole table.
enum class Change { Inserted, Updated, Removed, Reset };
