#include "tome/operations/remedy.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tome/engine_client.h"

namespace quill_test {
namespace {

class Remedy : public EngineOperations {
  protected:
    static std::string remedy(const EngineClient& client, const std::string& text) {
        return tome::remedy_for(text, client.path());
    }
};

TEST_F(Remedy, OfACheckoutIsToHaveItMadeAnew) {
    const EngineClient client = new_repository({{"a", "1"}});
    const std::string state = (client / ".tome").string();
    for (const std::string& text : {"corrupt index: " + state + "/index.db", "corrupt database: " + state + "/index.db",
                                    "corrupt store: " + state + "/objects has no store.db"}) {
        EXPECT_EQ(remedy(client, text),
                  "; move edited files aside and delete " + state + " to have the checkout made anew");
    }
}

TEST_F(Remedy, OfACheckoutWithoutARemoteIsABackup) {
    const EngineClient client(new_folder());
    must(client.create("project", true));
    const std::string state = (client / ".tome").string();
    EXPECT_EQ(remedy(client, "corrupt index: " + state + "/index.db"), "; restore " + state + " from a backup");
}

TEST_F(Remedy, OfTheRepositoryIsABackup) {
    const EngineClient client = new_repository({{"a", "1"}});
    const std::string repository = (remote_ / "project").string();
    EXPECT_EQ(remedy(client, "corrupt database: " + repository + "/store.db"),
              "; restore " + repository + " from a backup");
    EXPECT_EQ(remedy(client, "corrupt database: " + repository + "2/store.db"), "") << "another repository";
}

TEST_F(Remedy, OfTheSharedStoreIsToDeleteIt) {
    new_repository({{"a", "1"}});
    const std::string shared = (folder_ / "shared").string();
    must(EngineClient(new_folder()).create_shared_store(shared, "file://" + remote_.string()));
    const EngineClient client = new_clone({.shared_store = shared});
    EXPECT_EQ(remedy(client, "corrupt database: " + shared + "/store.db"),
              "; delete " + shared + ", the remote has what was pushed");
}

TEST_F(Remedy, IsNotKnownForOtherTextsPlacesAndFolders) {
    const EngineClient client = new_repository({{"a", "1"}});
    EXPECT_EQ(remedy(client, "disk full while writing " + (client / ".tome/index.db").string()), "");
    EXPECT_EQ(remedy(client, "corrupt database: /elsewhere/store.db"), "");
    EXPECT_EQ(tome::remedy_for("corrupt index: /nowhere/.tome/index.db", "/nowhere"), "");
}

}  // namespace
}  // namespace quill_test
