// SPDX-License-Identifier: ISC
// Building of outgoing PDUs (SMS-SUBMIT, TS 23.040 9.2.2.2).
#include "sms/submit.h"

#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "core/record/text.h"
#include "core/record/trace.h"
#include "sms/text.h"

namespace
{

// No service-centre address (the modem knows it), SMS-SUBMIT without validity period, TP-MR 0.
constexpr char pduhead[] = "000100";
constexpr char pduprotocol[] = "0008";  // TP-PID 0, TP-DCS UCS2

constexpr unsigned addresshead = 4;  // characters before the digits of an address field
constexpr unsigned ucs2max = modem_argumentmax * 4 + 1;

static_assert(sizeof(pduhead) + modem_addressmax + sizeof(pduprotocol) + 2 + ucs2max <=
                  modem_pdumax,
              "the longest message fits the PDU");

bool modem_isdigit(char c)
{
    return c >= '0' && c <= '9';
}

// Digits of `phone` in order, filled up to an even number, as many as fit; how many it holds.
std::size_t modem_keepdigits(const char *phone, char (&digits)[modem_addressmax - addresshead])
{
    std::size_t count = 0;
    std::size_t used = 0;
    for (; *phone != '\0'; phone++) {
        if (!modem_isdigit(*phone)) continue;
        if (used + 1 < sizeof(digits)) digits[used++] = *phone;
        count++;
    }
    if (used % 2 != 0 && used + 1 < sizeof(digits)) digits[used++] = 'F';
    digits[used] = '\0';
    return count;
}

}  // namespace

int modem_splitsmsnumbers(const modem_argumenttext &list,
                          modem_argumenttext (&numbers)[modem_smsnumbersmax])
{
    for (modem_argumenttext &number : numbers)
        number[0] = '\0';
    std::string_view rest = list;
    std::ptrdiff_t count = 0;
    while (!rest.empty() && count < std::ssize(numbers)) {
        const std::size_t length = rest.find(';');
        const bool last = length == std::string_view::npos;
        const std::string_view item(rest.data(), last ? rest.size() : length);
        if (!item.empty()) modem_copytext(numbers[count++], item);
        rest.remove_prefix(last ? rest.size() : length + 1);
    }
    return static_cast<int>(count);
}

int modem_getdafield(const char *phone, char (&field)[modem_addressmax], bool international)
{
    field[0] = '\0';
    modem_trace("modem_getdafield: phonelen=%d, phone=%s\n", static_cast<int>(std::strlen(phone)),
                phone);
    char digits[modem_addressmax - addresshead];
    const std::size_t count = modem_keepdigits(phone, digits);
    const std::size_t length = std::strlen(digits);
    if (length != count + count % 2) {
        modem_trace("modem_getdafield: ERROR digits=%d\n", static_cast<int>(count));
        return -1;
    }
    modem_trace("modem_getdafield: len=%d, pdata=%s\n", static_cast<int>(length), digits);
    for (std::size_t i = 0; i < length; i += 2)
        std::swap(digits[i], digits[i + 1]);
    modem_trace("modem_getdafield: after swap pdata=%s\n", digits);
    char size[3];
    (void)modem_bintohex(static_cast<unsigned>(count), size);  // cannot fail
    modem_settext(field, "%s%c1%s", size, international ? '9' : '8', digits);
    return 0;
}

int modem_getpdupack(const char *number,
                     const modem_argumenttext &text,
                     char (&pdu)[modem_pdumax],
                     int &length)
{
    char address[modem_addressmax];
    if (modem_getdafield(number, address, true) != 0) return -1;
    char ucs2[ucs2max];
    (void)modem_cp1251toucs2(text, ucs2);  // neither side is null
    modem_trace("modem_getpdupack: after modem_cp1251toucs2 msg=%s\n", ucs2);
    char size[3];
    (void)modem_bintohex(static_cast<unsigned>(std::strlen(ucs2) / 2), size);  // cannot fail
    modem_trace("modem_getpdupack: strlen(msg)/2=%s\n", size);
    modem_trace("modem_getpdupack: result=%s%s%s\n", pduhead, address, pduprotocol);
    modem_settext(pdu, "%s%s%s%s%s", pduhead, address, pduprotocol, size, ucs2);
    length = (static_cast<int>(std::strlen(pdu)) - 2) / 2;
    return 0;
}
