// A program with every elementary type as a single value and as an array, all fixed.

#ifndef TESTS_E2E_ALL_TYPES_H
#define TESTS_E2E_ALL_TYPES_H

#include <string>
#include <vector>

namespace e2e {

struct TypeRow {
    const char* name;
    const char* single;              ///< as a tag file writes it
    std::vector<const char*> values; ///< of the array
};

inline const std::vector<TypeRow>& allTypes()
{
    static const std::vector<TypeRow> kRows = {
        {"BOOL", "true", {"true", "false", "true", "true", "false"}},
        {"SINT", "-128", {"-128", "-1", "0", "1", "127"}},
        {"INT", "-32768", {"-32768", "-1", "0", "256", "32767"}},
        {"DINT", "-2147483648", {"-2147483648", "-1", "0", "65536", "2147483647"}},
        {"LINT",
         "-9223372036854775808",
         {"-9223372036854775808", "-1", "0", "4294967296", "9223372036854775807"}},
        {"USINT", "255", {"255", "128", "0", "1", "127"}},
        {"UINT", "65535", {"65535", "32768", "0", "256", "1"}},
        {"UDINT", "4294967295", {"4294967295", "2147483648", "0", "65536", "1"}},
        {"ULINT",
         "\"18446744073709551615\"",
         {"\"18446744073709551615\"", "\"9223372036854775808\"", "0", "4294967296", "1"}},
        {"REAL", "-0.1", {"-0.1", "0.0", "3e38", "1e-45", "123456.789"}},
        {"LREAL", "-0.1", {"-0.1", "0.0", "1.7976931348623157e308", "5e-324", "123456.789"}},
        {"BYTE", "0xA5", {"0xA5", "0x00", "0xFF", "0x80", "0x01"}},
        {"WORD", "0xA55A", {"0xA55A", "0x0000", "0xFFFF", "0x8000", "0x0100"}},
        {"DWORD", "0x80000001", {"0x80000001", "0", "0xFFFFFFFF", "0x01020304", "0x10000"}},
        {"LWORD",
         "0x0102030405060708",
         {"0x0102030405060708", "0", "0x7FFFFFFFFFFFFFFF", "256", "1"}},
        {"TIME", "-1", {"-1", "0", "2500", "2147483647", "-2147483648"}},
        {"STIME", "-1", {"-1", "0", "2500", "2147483647", "-2147483648"}},
        {"DATE", "65535", {"65535", "0", "2500", "256", "1"}},
        {"TIME_OF_DAY", "4294967295", {"4294967295", "0", "2500", "65536", "1"}},
        {"DATE_AND_TIME", "1099511627777", {"1099511627777", "0", "2500", "65536", "1"}},
        {"FTIME", "-1", {"-1", "0", "2500", "65536", "1"}},
        {"LTIME", "-1", {"-1", "0", "2500", "4294967296", "1"}},
        {"ITIME", "-1", {"-1", "0", "2500", "256", "1"}},
        {"STRING", "\"Hello, \\\"world\\\"\"", {"\"first\"", "\"\"", "\"x\"", "\"y\"", "\"z\""}},
        {"LONG_STRING", "\"long\"", {"\"first\"", "\"\"", "\"x\"", "\"yy\"", "\"z\""}},
        {"STRING2", "\"wide\"", {"\"first\"", "\"\"", "\"x\"", "\"yy\"", "\"z\""}},
        {"STRINGN", "\"any\"", {"\"first\"", "\"\"", "\"x\"", "\"yy\"", "\"z\""}},
    };
    return kRows;
}

/// One_TYPE and Many_TYPE for each row.
inline std::string allTypesTagFile()
{
    std::string text;
    for (const TypeRow& row : allTypes()) {
        const std::string type = row.name;
        text += "[[tag]]\nname = \"One_" + type + "\"\ntype = \"" + type +
                "\"\nvalue = " + row.single + "\n";
        text += "[[tag]]\nname = \"Many_" + type + "\"\ntype = \"" + type +
                "\"\nsize = " + std::to_string(row.values.size()) + "\nvalue = [";
        for (std::size_t i = 0; i < row.values.size(); ++i)
            text += (i == 0 ? "" : ", ") + std::string(row.values[i]);
        text += "]\n";
    }
    return text;
}

} // namespace e2e

#endif // TESTS_E2E_ALL_TYPES_H
