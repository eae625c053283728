// Whole conversations with the real server over its pipe, compared byte for byte.
#include <gtest/gtest.h>

#include "tests/support/server/server_process.h"

namespace {

using namespace qv::testing;

// The messages of the failures that the log tells of.
std::vector<std::string> failures(const std::string& log) {
    const std::string word = "ERROR: ";
    std::vector<std::string> found;
    for (std::size_t at = log.find(word); at != std::string::npos; at = log.find(word, at)) {
        at += word.size();
        found.push_back(log.substr(at, log.find("\r\n", at) - at));
    }
    return found;
}

TEST(PipeConversation, EveryFaultEndsItsConnectionOnly) {
    server_process server;
    served_client bystander(server);
    std::vector<std::string> messages;
    for (const ending& fault : endings()) {
        SCOPED_TRACE(fault.name);
        const auto converse = [&] {
            raw_client client(server.pipe_id());
            client.send(fault.sent);
            return client.receive_rest();
        };
        bytes answer = converse();
        // A client that comes as its listener leaves is neither answered nor told of.
        if (answer.empty() && failures(server.log()) == messages) answer = converse();
        EXPECT_EQ(answer, fault.answered);
        // The record is written before the connection is closed.
        messages.push_back(fault.message);
        EXPECT_EQ(failures(server.log()), messages);
    }
    for (const auto& steps : {failing_queries(), every_command()}) EXPECT_EQ(bystander.wrong_answers(steps), 0u);
    // Nothing after quit is read.
    bystander.send(packet(0xFF, {11}) + packet(0x32));
    EXPECT_EQ(bystander.receive_rest(), packet(0xFF, {11, 0}));
    EXPECT_EQ(failures(server.log()), messages);
}

}  // namespace
