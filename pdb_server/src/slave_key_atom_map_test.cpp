#include "pdb_server/src/slave_key_atom_map.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/guid.h"
#include "diagnostics/exception_test_support.h"

namespace qv::profiler {
namespace {

struct item {
    std::string key;
};

struct item_traits {
    using key_hash = std::hash<std::string>;
    static const std::string& key(const std::shared_ptr<item>& value) { return value->key; }
    static constexpr const char* insert_or_throw_signature = "insert_or_throw of the test";
};

using item_map = slave_key_atom_map<std::uint32_t, std::string, std::shared_ptr<item>, item_traits>;

std::shared_ptr<item> make(const char* key) {
    return std::make_shared<item>(item{key});
}

TEST(SlaveKeyAtomMap, SharesOneValueUnderSeveralAtoms) {
    item_map map;
    const auto value = make("a");
    const auto failure_of_insert = [&](std::uint32_t atom, const std::shared_ptr<item>& inserted) {
        return test::message_of([&] { map.insert_or_throw(atom, inserted); });
    };
    EXPECT_EQ(failure_of_insert(1, nullptr), "Empty value");
    EXPECT_EQ(failure_of_insert(1, value), "");
    EXPECT_EQ(failure_of_insert(1, make("b")), "Key is already exist");
    EXPECT_EQ(map.find_key("b"), nullptr);
    EXPECT_EQ(failure_of_insert(2, value), "");
    map.erase_atom(1);
    map.erase_atom(1);
    EXPECT_EQ(map.find_atom(1), nullptr);
    EXPECT_EQ(map.find_atom(2), value);
    EXPECT_EQ(map.find_key("a"), value);
    map.erase_atom(2);
    EXPECT_EQ(map.find_key("a"), nullptr);
    EXPECT_EQ(value.use_count(), 1);
}

// A destructor that comes back to the map must find its lock free.
TEST(SlaveKeyAtomMap, LetsValuesGoOutsideItsLock) {
    item_map map;
    item value{"a"};
    const auto reentrant = [&] { return std::shared_ptr<item>(&value, [&map](item*) { map.find_atom(1); }); };
    map.insert_or_throw(1, reentrant());
    map.erase_atom(1);
    map.insert_or_throw(1, reentrant());
    map.clear();
    EXPECT_EQ(map.find_atom(1), nullptr);
}

TEST(SlaveKeyAtomMap, ThreadsAgreeOnTheAtomOfAKey) {
    item_map map;
    std::vector<std::uint32_t> atoms[3];
    std::vector<std::thread> threads;
    for (auto& own : atoms)
        threads.emplace_back([&map, &own] {
            for (char key = 1; key < 100; ++key) {
                const char text[] = {key, 0};
                auto value = make(text);
                map.insert_or_get(text, value, own.emplace_back());
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(atoms[0], atoms[1]);
    EXPECT_EQ(atoms[0], atoms[2]);
    EXPECT_EQ(atoms[0].back(), 99u);
    auto again = make("\1");
    EXPECT_FALSE(map.insert_or_get("\1", again, atoms[0].front()));
    EXPECT_EQ(again, map.find_atom(1));
}

TEST(Guid, StoreKeyAndHashHoldEveryPart) {
    const GUID sample = {0x7d3be11c, 0x9bd2, 0x4ca7, {0xa6, 0x26, 0x0c, 0x82, 0xb9, 0x39, 0x35, 0xa9}};
    EXPECT_EQ(quorvex::common::to_store_key(sample), L"7D3BE11C9BD24CA7A6260C82B93935A9");
    // From a separate calculation with the published step of the hash.
    EXPECT_EQ(quorvex::common::guid_hash()(GUID{}), 0xcb34c5ae03d8f098u);
    EXPECT_EQ(quorvex::common::guid_hash()(sample), 0xc0a0d65e0d8e24deu);
}

}  // namespace
}  // namespace qv::profiler
