// qdifc count: a file's instances per type, one record's text, or the records of one
// type, from the file's record index alone.
#pragma once

#include <string>
#include <vector>

namespace qdhost {

int runCount(const std::vector<std::string>& args, const std::string& modulePath);

}  // namespace qdhost
