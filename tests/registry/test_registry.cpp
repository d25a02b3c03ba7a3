// The registry of schema modules: names in any case and the alias, where a library is
// looked for and in which order, a missing module's message, each module loaded and
// started once, stopped at the end; and several modules in one process.
#include "Folders.h"

#include <QdIfcCore/Dictionary.h>
#include <QdIfcCore/QdIfcModuleRegistry.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace QD_SDAI;
namespace fs = std::filesystem;

namespace {

const fs::path kLibDir = QDIFC_TEST_LIB_DIR;
const fs::path kModule = QDIFC_TEST_MODULE_PATH;

bool besideCore(const std::string& library) {
  return fs::exists(kLibDir / QdIfcModuleRegistry::libraryFileName(library));
}

}  // namespace

TEST(SchemaNames, AnyCaseAndTheAliasNameTheSameModule) {
  const std::string ifc4 = qdIfcModuleLibraryName("IFC4");
  ASSERT_FALSE(ifc4.empty());
  for (const char* spelled : {"ifc4", "Ifc4", "iFC4"}) EXPECT_EQ(qdIfcModuleLibraryName(spelled), ifc4) << spelled;
  const std::string ifc4x3 = qdIfcModuleLibraryName("IFC4X3_ADD2");
  for (const char* spelled : {"IFC4X3", "ifc4x3", "ifc4x3_add2"})
    EXPECT_EQ(qdIfcModuleLibraryName(spelled), ifc4x3) << spelled;
  const std::string ifc2x3 = qdIfcModuleLibraryName("ifc2x3");
  EXPECT_EQ(std::set<std::string>({ifc4, ifc4x3, ifc2x3}).size(), 3u);
  // Names that only look alike have no module.
  for (const char* other : {"IFC2X3_FINAL", "IFC4X1", "IFC4 ", "IFC", "", "IFC4X3_ADD1"})
    EXPECT_EQ(qdIfcModuleLibraryName(other), "") << other;

  EXPECT_TRUE(qdIfcSameSchema("ifc4x3", "IFC4X3_ADD2"));
  EXPECT_FALSE(qdIfcSameSchema("IFC4", "IFC4X3"));
  EXPECT_FALSE(qdIfcSameSchema("IFC2X3", "IFC2X3_FINAL"));
  EXPECT_EQ(qdIfcCanonicalSchemaName("ifc4x3"), "IFC4X3_ADD2");
  EXPECT_EQ(qdIfcCanonicalSchemaName("ifc2x4"), "IFC2X4");
  // Every known name has a library of its own.
  std::set<std::string> libraries;
  for (const std::string& name : qdIfcKnownSchemaNames()) libraries.insert(qdIfcModuleLibraryName(name));
  EXPECT_EQ(libraries.size(), qdIfcKnownSchemaNames().size());
  EXPECT_EQ(libraries.count(""), 0u);
}

TEST_F(Folders, TheCoreLibrarysFolderComesFirstThenTheFoldersAddedInOrder) {
  const fs::path a = holding("a", "QdIfc4"), b = holding("b", "QdIfc4"), empty = make("empty");
  {
    QdIfcModuleRegistry r;
    r.addSearchPath(a.string());
    ASSERT_GE(r.searchPaths().size(), 2u);
    EXPECT_TRUE(fs::equivalent(r.searchPaths().front(), kLibDir)) << r.searchPaths().front();
    EXPECT_TRUE(fs::equivalent(r.findLibrary("IFC4"), kModule)) << r.findLibrary("IFC4");
    EXPECT_EQ(fs::path(r.findLibrary("IFC4")).parent_path(), fs::path(r.searchPaths().front()));
  }
  {
    QdIfcModuleRegistry r(false);
    r.addSearchPath(empty.string());
    r.addSearchPath(a.string());
    r.addSearchPath(b.string());
    r.addSearchPath(a.string() + "/");  // the same folder: not added again
    EXPECT_EQ(r.searchPaths(), (std::vector<std::string>{empty.string(), a.string(), b.string()}));
    EXPECT_EQ(fs::path(r.findLibrary("ifc4")), a / "libQdIfc4.so");
  }
  {
    QdIfcModuleRegistry r(false);
    r.addSearchPath(b.string());
    r.addSearchPath(a.string());
    EXPECT_EQ(fs::path(r.findLibrary("Ifc4")), b / "libQdIfc4.so");
    // The module is loaded from where it was found.
    QdIfcModule* m = r.module("IFC4");
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(fs::path(m->path()), b / "libQdIfc4.so");
  }
}

TEST_F(Folders, TheAliasFindsTheLibraryOfItsSchema) {
  const fs::path dir = holding("x3", "QdIfc4x3");
  QdIfcModuleRegistry r(false);
  r.addSearchPath(dir.string());
  EXPECT_EQ(fs::path(r.findLibrary("ifc4x3")), dir / "libQdIfc4x3.so");
  EXPECT_EQ(r.findLibrary("IFC4X3_ADD2"), r.findLibrary("ifc4x3"));
  EXPECT_EQ(r.findLibrary("IFC4"), "");
  EXPECT_TRUE(r.available("Ifc4X3"));
  EXPECT_FALSE(r.available("IFC4"));
  EXPECT_EQ(r.availableSchemas(), std::vector<std::string>{"IFC4X3_ADD2"});
}

TEST_F(Folders, AMissingModuleIsOneMessageNamingTheSchemasThereAre) {
  QdIfcModuleRegistry none(false);
  std::string why;
  EXPECT_EQ(none.module("IFC4", &why), nullptr);
  EXPECT_EQ(why, "no module for schema IFC4; there are none (no folder to look in)");
  const fs::path empty = make("empty");
  none.addSearchPath(empty.string());
  EXPECT_EQ(none.module("IFC4", &why), nullptr);
  EXPECT_EQ(why, "no module for schema IFC4; there are none (looked in " + empty.string() + ")");

  QdIfcModuleRegistry r(false);
  r.addSearchPath(holding("four", "QdIfc4").string());
  EXPECT_EQ(r.module("IFC2X4", &why), nullptr);
  EXPECT_EQ(why, "no module for schema IFC2X4; there are: IFC4");
  EXPECT_EQ(r.module("ifc2x3", &why), nullptr);  // a known schema whose library is in no folder
  EXPECT_EQ(why, "no module for schema ifc2x3; there are: IFC4");
  EXPECT_EQ(r.missingMessage({"IFC2X4", "IFC5"}), "no module for schema IFC2X4 or IFC5; there are: IFC4");
  EXPECT_TRUE(r.loaded().empty());
  // Beside the core, the list is what the build holds, oldest edition first.
  QdIfcModuleRegistry host;
  std::vector<std::string> inBuild;
  for (const auto& [schema, library] :
       {std::pair{"IFC2X3", "QdIfc2x3"}, {"IFC4", "QdIfc4"}, {"IFC4X3_ADD2", "QdIfc4x3"}})
    if (besideCore(library)) inBuild.emplace_back(schema);
  EXPECT_EQ(host.availableSchemas(), inBuild);
}

TEST_F(Folders, ALibraryOfAnotherSchemaUnderAKnownNameIsRefused) {
  // libQdIfc2x3.so that is in truth the IFC4 module.
  QdIfcModuleRegistry r(false);
  r.addSearchPath(holding("posing", "QdIfc2x3").string());
  std::string why;
  EXPECT_EQ(r.module("IFC2X3", &why), nullptr);
  EXPECT_NE(why.find("gives schema IFC4, not IFC2X3"), std::string::npos) << why;
  EXPECT_TRUE(r.loaded().empty());
}

TEST_F(Folders, EachModuleIsLoadedOnceWhateverItIsAskedBy) {
  const fs::path a = holding("a", "QdIfc4");
  QdIfcModuleRegistry r(false);
  r.addSearchPath(a.string());
  QdIfcModule* m = r.module("IFC4");
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(m->schemaName(), "IFC4");
  EXPECT_EQ(r.module("ifc4"), m);
  EXPECT_EQ(r.schema("Ifc4"), m->schema());
  // The same library by another path: the module there is.
  EXPECT_EQ(r.loadLibrary(kModule.string()), m);
  EXPECT_EQ(r.loadLibrary((a / "libQdIfc4.so").string()), m);
  // The same file under a name no path leads back from (a hard link): the same library.
  const fs::path linked = make("linked") / "libLinked.so";
  std::error_code ec;
  fs::create_hard_link(kModule, linked, ec);
  if (!ec) {
    EXPECT_EQ(r.loadLibrary(linked.string()), m);
  }
  EXPECT_EQ(r.loaded(), std::vector<QdIfcModule*>{m});
  EXPECT_EQ(r.moduleOf(m->schema()), m);
  // Another library of a schema there is a module of already is refused.
  const fs::path copy = make("copy") / "libCopy.so";
  fs::copy_file(kModule, copy);
  std::string clash;
  EXPECT_EQ(r.loadLibrary(copy.string(), &clash), nullptr);
  EXPECT_NE(clash.find("whose module is loaded already from " + (a / "libQdIfc4.so").string()), std::string::npos)
      << clash;
  EXPECT_EQ(r.loaded(), std::vector<QdIfcModule*>{m});
  EXPECT_EQ(r.moduleOf(nullptr), nullptr);
  // Not a module at all.
  std::string why;
  EXPECT_EQ(r.loadLibrary("/nonexistent/libQdIfc4.so", &why), nullptr);
  EXPECT_NE(why.find("cannot load the module /nonexistent/libQdIfc4.so"), std::string::npos) << why;

  // Threads that ask at once share one load.
  QdIfcModuleRegistry shared(false);
  shared.addSearchPath(a.string());
  std::vector<QdIfcModule*> got(8);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < got.size(); ++i) threads.emplace_back([&, i] { got[i] = shared.module("IFC4"); });
  for (std::thread& t : threads) t.join();
  ASSERT_NE(got[0], nullptr);
  for (QdIfcModule* g : got) EXPECT_EQ(g, got[0]);
  EXPECT_EQ(shared.loaded().size(), 1u);
}

TEST(Registry, AModuleStopsWhenTheLastRegistryThatHoldsItGoes) {
  // The test keeps the library mapped itself, to ask the module after the registries end.
  void* library = dlopen(kModule.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  auto schemaPointer = reinterpret_cast<QdIfcGetSchemaPointerFn>(dlsym(library, "qdifcGetSchemaPointer"));
  ASSERT_NE(schemaPointer, nullptr);
  {
    auto first = std::make_unique<QdIfcModuleRegistry>();
    QdIfcSchema* schema = first->schema("IFC4");
    ASSERT_NE(schema, nullptr);
    {
      QdIfcModuleRegistry second;
      EXPECT_EQ(second.schema("IFC4"), schema);  // started once, shared
    }
    EXPECT_EQ(schemaPointer(), schema) << "the second registry stopped a module the first still holds";
    first->unloadAll();
    EXPECT_TRUE(first->loaded().empty());
    EXPECT_EQ(schemaPointer(), nullptr);
    // Asked again, it starts again.
    EXPECT_NE(first->schema("IFC4"), nullptr);
  }
  EXPECT_EQ(schemaPointer(), nullptr) << "the registry's end did not stop its module";
  dlclose(library);
}

// Stand-ins of the other editions' modules beside the IFC4 module: each of its own
// schema, in one process at once, stopped in the reverse order of their start.
TEST_F(Folders, ModulesOfSeveralEditionsAreLoadedSideBySideAndStoppedLastFirst) {
  const fs::path dir = threeEditions();
  {
    QdIfcModuleRegistry r(false);
    r.addSearchPath(dir.string());
    EXPECT_EQ(r.availableSchemas(), (std::vector<std::string>{"IFC2X3", "IFC4", "IFC4X3_ADD2"}));
    EXPECT_EQ(r.missingMessage({"IFC2X4"}), "no module for schema IFC2X4; there are: IFC2X3, IFC4, IFC4X3_ADD2");
    EXPECT_EQ(events(), "");  // found, not loaded
    QdIfcModule* x3 = r.module("ifc4x3");
    QdIfcModule* four = r.module("IFC4");
    QdIfcModule* two = r.module("Ifc2x3");
    ASSERT_TRUE(x3 && four && two);
    EXPECT_STREQ(x3->schemaName(), "IFC4X3_ADD2");
    EXPECT_STREQ(two->schemaName(), "IFC2X3");
    EXPECT_STREQ(four->schemaName(), "IFC4");
    EXPECT_EQ(r.module("IFC4X3_ADD2"), x3);
    EXPECT_EQ(r.loaded(), (std::vector<QdIfcModule*>{x3, four, two}));
    EXPECT_EQ(r.moduleOf(two->schema()), two);
    EXPECT_NE(four->schema()->findEntityType("IfcWall"), nullptr);
    EXPECT_EQ(events(), "start:IFC4X3_ADD2 start:IFC2X3");
  }
  EXPECT_EQ(events(), "start:IFC4X3_ADD2 start:IFC2X3 stop:IFC2X3 stop:IFC4X3_ADD2");
}
