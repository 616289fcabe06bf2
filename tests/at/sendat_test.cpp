// The AT transaction: every result, whatever shape the reply comes in.
#include "at/sendat.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "at/port.h"
#include "at/reply.h"
#include "tests/daemon/bench.h"

namespace
{

using simulator::faultkind;

TEST(reply, expectedTextWinsThenErrorsInOrder)
{
    struct {
        const char *reply;
        const char *answer;
        modem_verdict verdict;
    } const rows[] = {
        {"\r\nOK\r\n", modem_atok, modem_verdict::expected},
        {"\r\nok\r\n", modem_atok, modem_verdict::expected},
        {"\r\nERROR\r\n\r\nOK\r\n", modem_atok, modem_verdict::expected},
        {"\r\nOK\r", modem_atok, modem_verdict::nothing},
        {"\r\nERROR\r", modem_atok, modem_verdict::nothing},
        {"\r\nerror\r\n", modem_atok, modem_verdict::error},
        {"\r\n+CME ERROR: SIM busy\r\n", modem_atok, modem_verdict::error},
        {"\r\n+CMS ERROR: 321\r\n", modem_atok, modem_verdict::error},
        {"\r\n+CME ERROR: SIM bu", modem_atok, modem_verdict::unfinished},
        {"\r\n+CMS ERROR: 321\r\n+CME ERROR: ", modem_atok, modem_verdict::unfinished},
        {"\r\n> ", ">", modem_verdict::expected},
        {"", modem_atok, modem_verdict::nothing},
    };
    for (const auto &row : rows)
        EXPECT_EQ(modem_classify(row.reply, row.answer), row.verdict) << row.reply;
}

class sendat : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(modem_comport_connect(bench.record()), 0);
    }

    int send(const char *command, const char *answer = modem_atok, unsigned timeout = 15000)
    {
        return modem_sendat(bench.record(), command, answer, timeout, 1);
    }

    void answer(faultkind kind, const std::string &text, std::size_t chunk = 1)
    {
        bench.change([&](simulator::modem_model &modem) {
            modem.session.echo = false;
            modem.faults = {{.command = "AT+TEST", .kind = kind, .text = text, .chunk = chunk}};
        });
    }

    std::string reply()
    {
        return std::string(modem_getreply(bench.record()));
    }

    modem_bench bench;
};

TEST_F(sendat, resultFollowsTheReply)
{
    struct {
        const char *name;
        const char *text;
        int result;
    } const rows[] = {
        {"ok", "\r\n+TEST: 1\r\n\r\nOK\r\n", 0},
        {"error", "\r\nERROR\r\n", 2},
        {"named error", "\r\n+CME ERROR: no network service\r\n", 2},
        {"message error", "\r\n+CMS ERROR: 500\r\n", 2},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        answer(faultkind::reply, row.text);
        EXPECT_EQ(send("AT+TEST"), row.result);
        EXPECT_EQ(reply(), row.text);
        EXPECT_STREQ(bench.record()->atcmd, "AT+TEST\r");
    }
}

TEST_F(sendat, splitAndLateRepliesAreCollected)
{
    bench.change([](simulator::modem_model &modem) {
        modem.session.echo = false;
        modem.faults = {{.command = "AT+CGMM", .kind = faultkind::split, .delay = 3, .chunk = 1},
                        {.command = "AT+CGSN", .kind = faultkind::late, .delay = 100}};
    });
    EXPECT_EQ(send("AT+CGMM"), 0);
    EXPECT_EQ(reply(), "\r\nLTE-MODEM-1\r\n\r\nOK\r\n");
    EXPECT_EQ(send("AT+CGSN"), 0);
    EXPECT_EQ(reply(), "\r\n861000000000013\r\n\r\nOK\r\n");
}

TEST_F(sendat, lineEndThatNeverComesIsATimeOut)
{
    modem_bench::timeout(200);
    answer(faultkind::reply, "\r\n+CME ERROR: SIM bus");
    EXPECT_EQ(send("AT+TEST"), 1);
    answer(faultkind::reply, "\r\nERROR");
    EXPECT_EQ(send("AT+TEST"), 1);
}

TEST_F(sendat, withoutExpectedTextCollectsUntilTheTimeOut)
{
    modem_bench::timeout(300);
    answer(faultkind::reply, "\r\nOK\r\n");
    EXPECT_EQ(send("AT+TEST", nullptr), 1);
    EXPECT_EQ(reply(), "\r\nOK\r\n");
}

TEST_F(sendat, withoutTimeOutOnlySends)
{
    EXPECT_EQ(send("AT", modem_atok, 0), 0);
    EXPECT_EQ(bench.record()->atanswerlen, 0);
    EXPECT_EQ(bench.commands(1), std::vector<std::string>{"AT"});
}

TEST(accumulate, chunkThatDoesNotFitStartsAnew)
{
    char text[561] = {};
    const std::string most(560, 'a');
    const auto octets = [](const std::string &from) {
        return std::span(reinterpret_cast<const std::uint8_t *>(from.data()), from.size());
    };
    EXPECT_EQ(modem_accumulate(text, 0, octets(most)), 560U);
    EXPECT_EQ(text[560], '\0');
    EXPECT_EQ(modem_accumulate(text, 560, octets("")), 560U);
    EXPECT_EQ(modem_accumulate(text, 560, octets("OK")), 2U);
    EXPECT_STREQ(text, "OK");
    EXPECT_EQ(modem_accumulate(text, 2, octets(std::string(558, 'b'))), 560U);
}

TEST_F(sendat, refusesWhatIsNoCommand)
{
    EXPECT_EQ(send(nullptr), -1);
    EXPECT_EQ(modem_bench::log().back(), "3 modem_sendat: strcmd is NULL");
    EXPECT_EQ(send(""), -1);
    EXPECT_EQ(modem_bench::log().back(), "3 modem_sendat: strcmd is empty");
}

TEST_F(sendat, dropsWhatArrivedBefore)
{
    bench.change([](simulator::modem_model &modem) {
        simulator::unsolicited(modem, simulator::at_port, "\r\nERROR\r\n");
    });
    EXPECT_EQ(send("ATE0"), 0);  // also tells that the line has arrived
    bench.change([](simulator::modem_model &modem) {
        simulator::unsolicited(modem, simulator::at_port, "\r\nERROR\r\n");
    });
    pollfd port = {bench.record()->fdcom, POLLIN, 0};
    ASSERT_EQ(poll(&port, 1, 10000), 1);
    EXPECT_EQ(send("AT+CGMM"), 0);
    EXPECT_EQ(reply(), "\r\nLTE-MODEM-1\r\n\r\nOK\r\n");
}

TEST_F(sendat, secondConnectReopensBothPorts)
{
    modem_state *record = bench.record();
    EXPECT_EQ(modem_comport_connect(record), 0);
    EXPECT_EQ(record->pollat[0].fd, record->fdcom);
    EXPECT_EQ(record->pollussd[0].fd, record->fdcom2);
    EXPECT_EQ(send("AT"), 0);
}

}  // namespace
