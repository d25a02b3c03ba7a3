// The host's commands on files: load, check, convert, show, tree and props.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QD_SDAI {
class QdIfcEntityBase;
}

namespace qdhost {

// Each returns the exit status: 0 done, 1 problems (or a failure), 2 bad usage.
// modulePath: the module library --module names, or empty to pick by schema.
int runLoad(const std::vector<std::string>& args, const std::string& modulePath);
int runCheck(const std::vector<std::string>& args, const std::string& modulePath);
int runDemo(const std::vector<std::string>& args, const std::string& modulePath);
// Loads path and prints the summary of qdifc load.
int loadAndSummarise(const std::string& path, bool anySchema, const std::string& modulePath,
                     const std::string& schema = {}, unsigned threads = 0);
int runShow(const std::vector<std::string>& args, const std::string& modulePath);
// An instance's attributes by name, one a line, as qdifc show prints them.
std::string renderInstance(const QD_SDAI::QdIfcEntityBase& object, uint64_t id);
// The same lines, with the values read through the property objects of the type
// and its supertypes.
std::string renderViaProperties(const QD_SDAI::QdIfcEntityBase& object, uint64_t id);
// The spatial structure of a file, through the two hierarchy properties.
int runTree(const std::vector<std::string>& args, const std::string& modulePath);
// The property sets and quantities of an instance, through simple property objects.
int runProps(const std::vector<std::string>& args, const std::string& modulePath);
int runConvert(const std::vector<std::string>& args, const std::string& modulePath);

}  // namespace qdhost
