// The host's commands on files: load, check and convert.
#pragma once

#include <string>
#include <vector>

namespace qdhost {

// Each returns the exit status: 0 done, 1 problems (or a failure), 2 bad usage.
int runLoad(const std::vector<std::string>& args, const std::string& modulePath);
int runCheck(const std::vector<std::string>& args, const std::string& modulePath);
int runConvert(const std::vector<std::string>& args, const std::string& modulePath);

}  // namespace qdhost
