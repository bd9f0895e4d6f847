#include "registry.h"

#include <functional>

#include <gmock/gmock.h>

#include "bytes.h"

namespace zephran::ubusd {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr ClientId alice = 2000;
constexpr ClientId bob = 3000;

ObjectRequest named(const std::string& name) {
    return {name, std::nullopt, recorded_signature};
}

/// Status that an operation is refused with; ok when it is not.
Status status_of(const std::function<void()>& operation) {
    try {
        operation();
        return Status::ok;
    } catch (const Refusal& refusal) {
        return refusal.status;
    }
}

std::vector<std::string> names(const std::vector<ListedObject>& objects) {
    std::vector<std::string> result;
    for (const ListedObject& object : objects) {
        result.push_back(object.name);
    }
    return result;
}

TEST(Registry, ListsWhatWasAdded) {
    Registry registry;

    const Object added = registry.add(alice, named("demo"));
    const std::vector<ListedObject> listed = registry.lookup("demo");

    ASSERT_THAT(listed, SizeIs(1));
    EXPECT_EQ(listed[0].id, added.id);
    EXPECT_EQ(listed[0].type, added.type);
    EXPECT_EQ(listed[0].signature, recorded_signature);
    EXPECT_GE(added.id, first_free_id);
    EXPECT_GE(added.type.value(), first_free_id);
    EXPECT_EQ(registry.find(added.id)->owner, alice);
}

TEST(Registry, NamesAreComparedAsUnsignedBytes) {
    Registry registry;
    for (const char* const name : {"\xc3\xa4", "b", "B", "b.c"}) {
        registry.add(alice, named(name));
    }

    EXPECT_THAT(names(registry.lookup(std::nullopt)), ElementsAre("B", "b", "b.c", "\xc3\xa4"));
    EXPECT_THAT(names(registry.lookup("b*")), ElementsAre("b", "b.c"));
}

TEST(Registry, NothingToFindIsAnErrorOnlyForAPath) {
    const Registry registry;

    EXPECT_THAT(registry.lookup(std::nullopt), IsEmpty());
    EXPECT_EQ(status_of([&] { static_cast<void>(registry.lookup("*")); }), Status::not_found);
    EXPECT_EQ(status_of([&] { static_cast<void>(registry.lookup("")); }), Status::invalid_argument);
}

TEST(Registry, RefusedObjectLeavesNothingBehind) {
    Registry registry;
    const TypeId foreign = registry.add(bob, named("bob")).type.value();

    EXPECT_EQ(status_of([&] {
                  registry.add(alice, {"a", foreign, std::nullopt});
              }),
              Status::invalid_argument);
    EXPECT_EQ(status_of([&] {
                  registry.add(alice, {"a", std::nullopt, "broken"});
              }),
              Status::invalid_argument);
    EXPECT_EQ(status_of([&] { registry.add(alice, named("bob")); }), Status::invalid_argument);

    EXPECT_EQ(status_of([&] { registry.add(alice, named("a")); }), Status::ok);
    EXPECT_THAT(registry.remove_all_of(alice), SizeIs(1));
}

TEST(Registry, TypeLivesAsLongAsItsLastObject) {
    Registry registry;
    const Object first = registry.add(alice, named("first"));
    const Object second = registry.add(alice, {"second", first.type, std::nullopt});

    EXPECT_EQ(registry.remove(alice, first.id).released_type, std::nullopt);
    EXPECT_EQ(registry.remove(alice, second.id).released_type, first.type);
    EXPECT_EQ(status_of([&] {
                  registry.add(alice, {"third", first.type, std::nullopt});
              }),
              Status::invalid_argument);
}

TEST(Registry, ForgetsEverythingOfOneClientOnly) {
    Registry registry;
    registry.add(alice, named("a"));
    registry.add(alice, {std::nullopt, std::nullopt, std::nullopt});
    registry.add(bob, named("b"));

    EXPECT_THAT(registry.remove_all_of(alice), SizeIs(2));

    EXPECT_THAT(names(registry.lookup(std::nullopt)), ElementsAre("b"));
    EXPECT_EQ(status_of([&] { registry.add(bob, named("a")); }), Status::ok);
}

TEST(Registry, OnlyTheOwnerRemoves) {
    Registry registry;
    const ObjectId id = registry.add(alice, named("a")).id;

    EXPECT_EQ(status_of([&] { registry.remove(bob, id); }), Status::permission_denied);
    EXPECT_EQ(status_of([&] { registry.remove(alice, id + 1); }), Status::not_found);
    EXPECT_NE(registry.find(id), nullptr);
}

}  // namespace

}  // namespace zephran::ubusd
