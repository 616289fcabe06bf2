// SPDX-License-Identifier: ISC
// The status block: what the daemon knows, in the very paths under which clients see it.
//
// Every text is a NUL-terminated field of fixed capacity (the NUL included), so blocks have no
// padding and are copied whole. Two copies exist (core/record/state.h): the worker owns the working
// one, the event loop the published one.
#pragma once

#include <cstdint>

struct modem_settings {
    struct {
        char slot[2];
        struct {
            std::uint8_t enabled;  // 1: the configuration holds the option
            char pull[5];
        } rs485;
        struct {
            std::uint8_t enabled;  // 1: the configuration holds the power or the mode option
            char power[4];
            char mode[2];
        } gnss;
        struct {
            char type[5];
            char iptype[7];
            char iparea[8];
            char apn[81];
        } network;
    } modem;
};

struct modem_info {
    struct {
        char prevstate[6];
        char state[6];
        char error[16];
        char reason[256];
        char reinit_counter[11];
    } kelvantorium;
    struct {
        char model[16];
        char firmware[64];
        char imei[16];
        char slot1_state[9];
        char slot2_state[9];
    } modem;
    struct {
        char imsi[16];
        char iccid[23];
    } sim;
    struct {
        char state[12];
        char fixation[3];
        char latitude[16];
        char ns[6];
        char longitude[16];
        char ew[5];
        char altitude[16];
        char pdop[16];
        char hdop[16];
        char vdop[16];
        char validsvs[5];
        char cntsvs[5];
        char datetime[20];
    } gnss;
    struct {
        char state[13];
        char provider[32];
        char type[32];
        char level[10];
        char rssi[16];
        char rscp[16];
        char ecio[16];
        char rsrp[16];
        char rsrq[16];
        char sinr[16];
        char ip[40];
        char gateway[40];
        char rx_counter[21];
        char tx_counter[21];
    } network;
    struct {
        char state[8];
        char cmd[32];
        char answer[81];
    } ussd;
    struct {
        char recv_counter[72];
    } sms;
};

struct modem_status {
    modem_settings settings;
    modem_info info;
};

// Copied as blocks; the USSD group also on its own.
static_assert(sizeof(modem_settings) == 116, "the settings block has 116 octets");
static_assert(sizeof(modem_info) == 1098, "the info block has 1098 octets");
static_assert(sizeof(modem_status) == 116 + 1098, "the status is its two blocks, unpadded");
static_assert(sizeof(modem_info::ussd) == 121, "the USSD group has 121 octets");

// A text field of a block as tables name it; made from an array only, so that the capacity is
// right.
struct modem_field {
    template <unsigned N>
    constexpr modem_field(char (&array)[N]) : text(array), capacity(N)
    {
    }
    char *text;
    unsigned capacity;  // octets, NUL included
};

// FIELD(info.modem.model): from a status block to one of its fields.
#define FIELD(path) [](modem_status &status) -> modem_field { return status.path; }
