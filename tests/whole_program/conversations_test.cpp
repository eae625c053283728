// Whole conversations with the real server over its pipe, compared byte for byte.
#include <gtest/gtest.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

// What follows the last "ERROR: " in the log.
std::string last_error(const std::string& log) {
    const std::string word = "ERROR: ";
    const std::size_t at = log.rfind(word);
    if (at == std::string::npos) return "no error";
    return log.substr(at + word.size(), log.find("\r\n", at) - at - word.size());
}

std::size_t count(const std::string& text, const std::string& word) {
    std::size_t n = 0;
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += word.size()) ++n;
    return n;
}

TEST(PipeConversation, EveryFaultEndsItsConnectionOnly) {
    server_process server;
    ASSERT_TRUE(server.wait_until_ready()) << server.standard_output();
    raw_client bystander(server.pipe_id());
    EXPECT_EQ(bystander.exchange_for(handshake(), handshake_answer().size()), handshake_answer());
    std::size_t errors = 0;
    for (const ending& fault : endings()) {
        SCOPED_TRACE(fault.name);
        raw_client client(server.pipe_id());
        client.send(fault.sent);
        EXPECT_EQ(client.receive_rest(), fault.answered);
        // The record is written before the connection is closed.
        const std::string log = server.log();
        EXPECT_EQ(last_error(log), fault.message);
        EXPECT_EQ(count(log, "ERROR: "), ++errors);
    }
    for (const auto& steps : {failing_queries(), every_command()})
        for (const exchange& step : steps)
            EXPECT_EQ(bystander.exchange_for(step.request, step.answer.size()), step.answer);
    // Nothing after quit is read.
    bystander.send(packet(0xFF, {11}) + packet(0x32));
    EXPECT_EQ(bystander.receive_rest(), packet(0xFF, {11, 0}));
    EXPECT_EQ(count(server.log(), "ERROR: "), errors);
}

}  // namespace
