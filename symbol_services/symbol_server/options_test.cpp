#include "symbol_services/symbol_server/options.h"

#include <gtest/gtest.h>

namespace qv::symbol_store {
namespace {

TEST(Options, IdKindsAndCallbacksExcludeOneAnother) {
    option_values options;
    options.set(option::id_is_guid_pointer, 1);
    EXPECT_EQ(options.kind_of_id(), id_kind::guid_pointer);
    EXPECT_EQ(options.set(option::parameter_type, option::id_is_dword_pointer), set_outcome::done);
    EXPECT_EQ(options.kind_of_id(), id_kind::dword_pointer);
    EXPECT_EQ(options.bits(), option::id_is_dword_pointer);
    EXPECT_EQ(options.value(option::parameter_type), option::id_is_dword_pointer);
    EXPECT_EQ(options.set(option::id_is_old_guid_pointer, 1), set_outcome::done);
    EXPECT_EQ(options.kind_of_id(), id_kind::guid_pointer);
    EXPECT_EQ(options.set(option::id_is_old_guid_pointer, 0), set_outcome::done);
    EXPECT_EQ(options.kind_of_id(), id_kind::dword);
    options.set(option::callback, 0x1234);
    options.set(option::wide_callback, 0x5678);
    EXPECT_EQ(options.bits(), option::wide_callback);
}

TEST(Options, RefusedCallsChangeNothing) {
    option_values options;
    options.set(option::no_copy | option::trace, 1);
    EXPECT_EQ(options.set(option::unattended | 0x1000, 1), set_outcome::unsupported);
    EXPECT_EQ(options.set(0, 1), set_outcome::misused);
    EXPECT_EQ(options.set(option::callback | option::trace, 1), set_outcome::misused);
    EXPECT_EQ(options.set(option::id_is_dword | option::id_is_guid_pointer, 1), set_outcome::misused);
    EXPECT_EQ(options.set(option::parameter_type, option::trace), set_outcome::misused);
    EXPECT_EQ(options.set(option::parameter_type, 0), set_outcome::misused);
    EXPECT_EQ(options.bits(), option::no_copy | option::trace);
    EXPECT_EQ(options.value(0x1000), std::nullopt);
    EXPECT_EQ(options.value(option::no_copy | option::trace), std::nullopt);
}

}  // namespace
}  // namespace qv::symbol_store
