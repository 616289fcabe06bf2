// SPDX-License-Identifier: ISC
// Operator, radio technology, signal values and level.
#include "monitor/signal.h"

#include <string>

#include <gtest/gtest.h>

#include "core/record/text.h"

namespace
{

std::string lte(const std::string &rssi)
{
    return "\r\n+CPSI: LTE,Online,250-01,0x2B67,13,14,EUTRAN-BAND3,1300,3,3,20,50," + rssi +
           ",15\r\n\r\nOK\r\n";
}

std::string gsm(const std::string &rssi)
{
    return "\r\n+CPSI: GSM,Online,250-01,0x1,7,9 EGSM 900," + rssi + ",0,18-18\r\n\r\nOK\r\n";
}

std::string wcdma(const std::string &rssi)
{
    return "\r\n+CPSI: WCDMA,Online,250-01,0x1,7,WCDMA IMT 2000,10700,9,0,-8.5,-78,14," + rssi +
           ",6\r\n\r\nOK\r\n";
}

struct signal_case {
    const char *name;
    std::string reply;
    const char *expected;
};

// The six values as the status report orders them.
std::string values(const modem_status &status)
{
    const auto &network = status.info.network;
    std::string text;
    for (const char *value : {network.rssi, network.rsrp, network.rsrq, network.sinr, network.rscp})
        text += std::string(value) + " ";
    return text + network.ecio;
}

TEST(signal, valuesComeFromTheFieldsOfTheTechnology)
{
    const std::string cut = lte("40");
    const signal_case cases[] = {
        {"lte", lte("40"), "4g/LTE good -70.00 -90.00 -10.00 15.00 -124.00 -20.00"},
        {"gsm", gsm("-70"), "2g/GSM excellent -70.00 -100.00 -20.00 0.00 -124.00 -20.00"},
        {"wcdma", wcdma("-71"), "3g/WCDMA good -71.00 -100.00 -20.00 0.00 -78.00 -8.50"},
        {"a default is not converted", lte(""),
         "4g/LTE no signal -110.00 -90.00 -10.00 15.00 -124.00 -20.00"},
        {"empty wcdma rssi", wcdma(""),
         "3g/WCDMA no signal -110.00 -100.00 -20.00 0.00 -78.00 -8.50"},
        {"no end of the last lte field", cut.substr(0, cut.find('\r', 2)),
         "4g/LTE good -70.00 -90.00 -10.00 0.00 -124.00 -20.00"},
        {"no comma after the gsm value", "+CPSI: GSM,,,,,,-70\r\n",
         "2g/GSM no signal -110.00 -100.00 -20.00 0.00 -124.00 -20.00"},
        {"no comma after the last wcdma value", "+CPSI: WCDMA,,,,,,,,,-8.5,-78,,-71\r\n",
         "3g/WCDMA no signal -110.00 -100.00 -20.00 0.00 -78.00 -8.50"},
        {"no comma after field 12", "+CPSI: LTE,,,,,,,,,,20,50\r\nOK\r\n",
         "4g/LTE no signal -110.00 -100.00 -10.00 0.00 -124.00 -20.00"},
        {"a comma ahead shifts all fields", "A," + gsm("-70"),
         "2g/GSM excellent 9.00 -100.00 -20.00 0.00 -124.00 -20.00"},
        {"no number passes no bound", gsm("nan"),
         "2g/GSM no signal nan -100.00 -20.00 0.00 -124.00 -20.00"},
    };
    for (const signal_case &c : cases) {
        modem_status status = {};
        EXPECT_EQ(modem_parsesysinfo(status, c.reply), 1) << c.name;
        const auto &network = status.info.network;
        EXPECT_EQ(std::string(network.type) + " " + network.level + " " + values(status),
                  c.expected)
            << c.name;
    }
}

TEST(signal, unknownTechnologyLeavesOnlyItsWord)
{
    const signal_case cases[] = {
        {"no service", "\r\n+CPSI: NO SERVICE,Online\r\n\r\nOK\r\n", "NO SERVICE"},
        {"case counts", "+CPSI: Lte,Online,", "Lte"},
        {"no colon", "LTE,Online,", ""},
        {"no comma", "+CPSI: LTE\r\n", ""},
        {"colon at the end", "LTE,+CPSI:", ""},
        {"cut", "+CPSI: " + std::string(40, 'T') + ",", "TTTTTTTTTTTTTTTTTTTTTTTTTTTTTTT"},
    };
    for (const signal_case &c : cases) {
        modem_status status = {};
        EXPECT_EQ(modem_parsesysinfo(status, c.reply), 0) << c.name;
        EXPECT_STREQ(status.info.network.type, c.expected) << c.name;
        EXPECT_EQ(values(status), "     ") << c.name;
    }
}

TEST(signal, levelsChangeAtTheirBounds)
{
    const signal_case cases[] = {
        {"gsm -110", gsm("-110"), "no signal"},   {"gsm -109.9", gsm("-109.9"), "weak"},
        {"gsm -100", gsm("-100"), "weak"},        {"gsm -99.9", gsm("-99.9"), "medium"},
        {"gsm -86", gsm("-86"), "medium"},        {"gsm -85.9", gsm("-85.9"), "good"},
        {"gsm -70.5", gsm("-70.5"), "good"},      {"gsm -70", gsm("-70"), "excellent"},
        {"wcdma -70", wcdma("-70"), "excellent"}, {"lte -95", lte("15"), "no signal"},
        {"lte -94", lte("16"), "weak"},           {"lte -85", lte("25"), "weak"},
        {"lte -84", lte("26"), "medium"},         {"lte -75", lte("35"), "medium"},
        {"lte -74", lte("36"), "good"},           {"lte -65", lte("45"), "good"},
        {"lte -64", lte("46"), "excellent"},
    };
    for (const signal_case &c : cases) {
        modem_status status = {};
        EXPECT_EQ(modem_parsesysinfo(status, c.reply), 1) << c.name;
        EXPECT_STREQ(status.info.network.level, c.expected) << c.name;
    }
}

TEST(signal, levelWordsLightTheirSteps)
{
    unsigned steps = 0;
    for (const char *level : {"no signal", "weak", "medium", "good", "excellent"})
        EXPECT_EQ(modem_levelindex(level), steps++) << level;
    EXPECT_EQ(modem_levelindex(""), 4U);
}

TEST(provider, isTheTextBetweenTheFirstQuotes)
{
    const signal_case cases[] = {
        {"name", "\r\n+COPS: 0,0,\"MegaFon RUS\",7\r\n\r\nOK\r\n", "MegaFon RUS"},
        {"adjacent quotes", "+COPS: 0,0,\"\",\"x\"\r\n", ""},
        {"no closing quote", "+COPS: 0,0,\"Tele\r\n\r\nOK\r\n", "Tele"},
        {"quote at the end", "+COPS: 0,0,\"", ""},
        {"31 fit", "\"" + std::string(31, 'p') + "\"", "ppppppppppppppppppppppppppppppp"},
        {"32 are cut", "\"" + std::string(32, 'p') + "\"", "ppppppppppppppppppppppppppppppp"},
        {"no quote", "+COPS: 0\r\n", "before"},
    };
    for (const signal_case &c : cases) {
        modem_status status = {};
        modem_copytext(status.info.network.provider, "before");
        modem_parseprovider(status, c.reply);
        EXPECT_STREQ(status.info.network.provider, c.expected) << c.name;
        EXPECT_EQ(modem_isregistered(c.reply), std::string("no quote") != c.name) << c.name;
        EXPECT_STREQ(status.info.network.type, "") << c.name;
    }
}

}  // namespace
