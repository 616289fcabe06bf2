// SPDX-License-Identifier: ISC
// Replies that real modems give, of the router's make and of others, and what becomes of them: what
// is not in the expected places shows as defaults, or as odd values, and never stops anything.
#include <string>

#include <gtest/gtest.h>

#include "at/reply.h"
#include "monitor/gnss.h"
#include "monitor/signal.h"

namespace
{

std::string framed(const std::string &line)
{
    return "\r\n" + line + "\r\n\r\nOK\r\n";
}

// Level and values, or the word of an unknown technology.
std::string signal(const std::string &reply)
{
    modem_status status = {};
    const auto &network = status.info.network;
    if (modem_parsesysinfo(status, reply) == 0) return std::string("lost ") + network.type;
    std::string text = std::string(network.type) + " " + network.level;
    for (const char *value :
         {network.rssi, network.rsrp, network.rsrq, network.sinr, network.rscp, network.ecio})
        text += std::string(" ") + value;
    return text;
}

std::string position(const std::string &reply)
{
    modem_status status = {};
    const auto &gnss = status.info.gnss;
    if (modem_parsegnssinfo(status, reply) == 0) return gnss.state;
    std::string text = gnss.fixation;
    for (const char *value :
         {gnss.latitude, gnss.ns, gnss.longitude, gnss.ew, gnss.altitude, gnss.pdop, gnss.hdop,
          gnss.vdop, gnss.validsvs, gnss.cntsvs, gnss.datetime})
        text += std::string(" ") + value;
    return text;
}

std::string provider(const std::string &reply)
{
    modem_status status = {};
    modem_parseprovider(status, reply);
    return modem_isregistered(reply) ? status.info.network.provider : "not registered";
}

std::string verdict(const std::string &reply)
{
    constexpr const char *words[] = {"answered", "refused", "unfinished", "nothing yet"};
    return words[static_cast<int>(modem_classify(reply, "OK\r\n"))];
}

TEST(replies, ofRealModemsShowAsTheirFieldsStand)
{
    const std::string lte = "+CPSI: LTE,Online,460-11,0x774B,126375687,303,EUTRAN-BAND1,100,5,0,";
    const std::string wcdma =
        "+CPSI: WCDMA,Online,460-01,0xA809,11122855,WCDMA IMT 2000,279,10663,0,";
    const std::string good = "4g/LTE good -68.00 -104.00 -14.00 5.00 -124.00 -20.00";
    const std::string nothing = "unavailable";
    const struct {
        std::string (*shown)(const std::string &reply);
        std::string reply, expected;
    } rows[] = {
        // clang-format off
        {signal, framed(lte + "12,36,42,5"), good},
        {signal, framed(lte + "21,67,255,19"), "4g/LTE excellent 145.00 -73.00 -9.50 19.00 -124.00 -20.00"},
        {signal, framed(lte + "-94,-850,-545,15"),  // in tenths of a decibel
         "4g/LTE no signal -655.00 -990.00 -67.00 15.00 -124.00 -20.00"},
        {signal, framed(lte + "-12,-81,-52,10"),  // in decibels
         "4g/LTE no signal -162.00 -221.00 -26.00 10.00 -124.00 -20.00"},
        {signal, framed(wcdma + "1.5,62,33,52,500"), "3g/WCDMA excellent 52.00 -100.00 -20.00 0.00 62.00 1.50"},
        {signal, framed(wcdma + "21,86,15,29"), "3g/WCDMA no signal -110.00 -100.00 -20.00 0.00 86.00 21.00"},
        {signal, framed(wcdma + "-3,-83,-32768,-83,-15"), "3g/WCDMA good -83.00 -100.00 -20.00 0.00 -83.00 -3.00"},
        {signal, framed("+CPSI: GSM,Online,460-00,0x182d,12401,27 EGSM 900,-64,2110,42-42"),
         "2g/GSM excellent -64.00 -100.00 -20.00 0.00 -124.00 -20.00"},
        {signal, framed("+CPSI: GSM,Online,502-12,0x1054,62168,512 DCS 1800,-71,0,32-32"),
         "2g/GSM good -71.00 -100.00 -20.00 0.00 -124.00 -20.00"},
        {signal, framed("+CPSI: NO SERVICE,Online"), "lost NO SERVICE"},
        {signal, "\r\nERROR\r\n", "lost "},
        {signal, "AT+CPSI?\r" + framed(lte + "12,36,42,5"), good},  // echo
        {signal, "          \r" + framed(lte + "12,36,42,5"), good},
        {signal, framed(lte + "12,36,42,5\r\n\r\n+CGEV: ME PDN ACT 1"), good},
        {signal, framed("+CREG: 1\r\n\r\n" + lte + "12,36,42,5"), "lost 1\r\n\r\n+CPSI: LTE"},

        {position, framed("+CGNSSINFO: 2,06,02,00,5130.517255,N,00001.892836,W,081221,024939.0,20.7,0.0,,1.5,1.2,0.9"), nothing},
        {position, framed("+CGNSSINFO: 2,09,05,00,3113.330650,N,12121.262554,E,131117,091918.0,32.9,0.0,255.0,1.1,0.8,0.7"), nothing},
        {position, framed("+CGNSSINFO: 2,04,00,21.500000,N,114.250000,E,020924,094145.00,-34.0,1.403,,6.9,6.8,1.0,03"), nothing},
        {position, framed("+CGNSSINFO: 3,05,02,00,01,5546.123456,N,03737.654321,E,150324,093015.00,156.3,0.0,,1.5,0.9,1.2,07"),
         "3d 5546.1235352 north 3737.6542969 east 156.30 1.50 0.90 1.20 7 8 15-03-2024 09:30:15"},
        {position, framed("+CGNSSINFO: ,,,,,,,,"), nothing},
        {position, framed("+CGNSSINFO:,,,,,,,,,,,,,,,"), nothing},
        {position, framed("+CREG: 1\r\n\r\n+CGNSSINFO: 3,05,02,00,01,5546.1,N,03737.6,E,150324,093015.00,156.3,0.0,,1.5,0.9,1.2,07"),
         "1d 5546.1000977 north 3737.6000977 east 156.30 1.50 0.90 1.20 7 8 15-03-2024 09:30:15"},

        {provider, framed("+COPS: 0,0,\"vodafone.de\",7"), "vodafone.de"},
        {provider, framed("+COPS: 0,0,\"Orange nju\",7"), "Orange nju"},
        {provider, framed("+COPS: 0,2,\"302490\",7"), "302490"},
        {provider, framed("+COPS:0,2,\"25001\",13"), "25001"},
        {provider, framed("+COPS: 0"), "not registered"},
        {provider, framed("+COPS: 0\r\n\r\n+CMTI: \"SM\",3"), "SM"},

        {verdict, "\r\n+CME ERROR: 14\r\n", "refused"},
        {verdict, "\r\n+CME ERROR: SIM busy\r\n", "refused"},
        {verdict, "\r\n+CME ERROR: SIM", "unfinished"},
        {verdict, "\r\nRDY\r\n\r\n+CPIN: READY\r\n\r\n+QIND: SMS DONE\r\n\r\nPB DONE\r\n", "nothing yet"},
        {verdict, "\r\n*PSUTTZ: 24/11/16,17:02:04,\"+12\",0\r\n\r\n^DSCI: 2,1,4,0,0\r\n", "nothing yet"},
        // clang-format on
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.shown(row.reply), row.expected) << row.reply;
}

}  // namespace
