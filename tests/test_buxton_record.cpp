// The stored record of a buxton key: bytes written by serialz_data checked
// with GLib, and records made by GLib read back through the key listing.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "buxton_helpers.h"
#include "harness.h"
#include "tavrin_debugmenu.h"

namespace {

using bx::kPlatform;
using bx::kPublic;

// Serialises VALUE and hands back the bytes (freed here).
std::string serialize(const buxton_value &value)
{
    uint8_t *data = nullptr;
    int len = -1;
    EXPECT_EQ(serialz_data(kPublic, kPlatform, &value, &data, &len), 0);
    std::string bytes;
    if (data)
        bytes.assign(reinterpret_cast<char *>(data), static_cast<size_t>(len));
    free(data);
    return bytes;
}

// The typed value inside bytes written by serialz_data, checked on the way:
// GLib decodes them as a boxed "(sssv)" in normal form.
GVariant *unbox(const std::string &bytes, std::string *setter = nullptr)
{
    GVariant *box = g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE_VARIANT, bytes.data(), bytes.size(),
                                                               FALSE, nullptr, nullptr));
    EXPECT_TRUE(g_variant_is_normal_form(box));
    GVariant *tuple = g_variant_get_variant(box);
    EXPECT_STREQ(g_variant_get_type_string(tuple), "(sssv)");
    const char *rp = nullptr, *wp = nullptr, *s = nullptr;
    GVariant *value = nullptr;
    g_variant_get(tuple, "(&s&s&sv)", &rp, &wp, &s, &value);
    EXPECT_STREQ(rp, kPublic);
    EXPECT_STREQ(wp, kPlatform);
    if (setter)
        *setter = s;
    g_variant_unref(tuple);
    g_variant_unref(box);
    return value;
}

buxton_value make(buxton_value_type type)
{
    buxton_value v{};
    v.type = type;
    return v;
}

TEST(Serialize, RecordsAreBoxedTuplesEndingWithTheirTypeString)
{
    buxton_value s = make(BUXTON_TYPE_STRING);
    s.value.s = const_cast<char *>("Asia/Seoul");
    std::string bytes = serialize(s);
    ASSERT_GE(bytes.size(), 7u);
    EXPECT_EQ(bytes.substr(bytes.size() - 7), std::string("\0(sssv)", 7));
    // Nothing of the tool's own around GVariant's bytes.
    EXPECT_EQ(bytes, bx::record(kPublic, kPlatform, "", g_variant_new_string("Asia/Seoul")));
    EXPECT_EQ(bx::print_record(bytes), "<('" + std::string(kPublic) + "', '" + kPlatform + "', '', <'Asia/Seoul'>)>");

    // A setter, when there is one, is written in its place.
    buxton_value i = make(BUXTON_TYPE_INT32);
    i.value.i = -5;
    i.setter = const_cast<char *>("System::Privileged");
    std::string setter;
    GVariant *v = unbox(serialize(i), &setter);
    EXPECT_EQ(setter, "System::Privileged");
    EXPECT_EQ(g_variant_get_int32(v), -5);
    g_variant_unref(v);
}

TEST(Serialize, EveryTypeKeepsItsValueAndAll64Bits)
{
    auto check = [](const buxton_value &value, const char *type, auto get, auto expected) {
        SCOPED_TRACE(type);
        GVariant *v = unbox(serialize(value));
        ASSERT_NE(v, nullptr);
        EXPECT_STREQ(g_variant_get_type_string(v), type);
        EXPECT_EQ(get(v), expected);
        g_variant_unref(v);
    };
    buxton_value v = make(BUXTON_TYPE_INT32);
    for (int32_t n : {std::numeric_limits<int32_t>::min(), 0, std::numeric_limits<int32_t>::max()}) {
        v.value.i = n;
        check(v, "i", g_variant_get_int32, n);
    }
    v = make(BUXTON_TYPE_UINT32);
    v.value.u = 0xFFFFFFFFu;
    check(v, "u", g_variant_get_uint32, 0xFFFFFFFFu);
    v = make(BUXTON_TYPE_INT64);
    for (int64_t n : {std::numeric_limits<int64_t>::min(), int64_t{-1}, std::numeric_limits<int64_t>::max()}) {
        v.value.i64 = n;
        check(v, "x", g_variant_get_int64, n);
    }
    v = make(BUXTON_TYPE_UINT64);
    for (uint64_t n : {uint64_t{1} << 63, (uint64_t{1} << 63) + 1, std::numeric_limits<uint64_t>::max()}) {
        v.value.u64 = n;
        check(v, "t", g_variant_get_uint64, n);
    }
    v = make(BUXTON_TYPE_DOUBLE);
    v.value.d = -1.0 / 3.0;
    check(v, "d", g_variant_get_double, -1.0 / 3.0);
    v = make(BUXTON_TYPE_BOOLEAN);
    v.value.b = 1;
    check(v, "b", g_variant_get_boolean, TRUE);
    v.value.b = 0;
    check(v, "b", g_variant_get_boolean, FALSE);
}

// Runs serialz_data expecting a failure: no bytes handed out, errno set, and
// the standard output it printed returned.
std::string serialize_failure(const char *rp, const char *wp, const buxton_value *value, bool with_data = true,
                              bool with_len = true)
{
    uint8_t sentinel = 0;
    uint8_t *data = &sentinel;
    int len = 77;
    errno = 0;
    testing::internal::CaptureStdout();
    int rc = serialz_data(rp, wp, value, with_data ? &data : nullptr, with_len ? &len : nullptr);
    fflush(stdout);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(data, &sentinel);
    EXPECT_EQ(len, 77);
    return out;
}

TEST(Serialize, BadArgumentsAreRefusedWithTheirMessage)
{
    buxton_value v = make(BUXTON_TYPE_INT32);
    EXPECT_EQ(serialize_failure(nullptr, nullptr, nullptr, false, false),
              "serialize data: invalid argument: read priv write priv value data len\n");
    EXPECT_EQ(serialize_failure(kPublic, kPublic, &v, true, false), "serialize data: invalid argument: len\n");
    EXPECT_EQ(serialize_failure(kPublic, nullptr, &v), "serialize data: invalid argument: write priv\n");

    EXPECT_EQ(serialize_failure(kPublic, kPublic, &(v = make(BUXTON_TYPE_UNKNOWN))),
              "Serialize: Invalid value type: 0\n");
    EXPECT_EQ(serialize_failure(kPublic, kPublic, &(v = make(static_cast<buxton_value_type>(8)))),
              "Serialize: Invalid value type: 8\n");
    EXPECT_EQ(serialize_failure(kPublic, kPublic, &(v = make(BUXTON_TYPE_STRING))),
              "Serialize: value has NULL string\n");
    // The value is looked at before the tuple: its message wins over a
    // privilege or setter GLib could not hold.
    EXPECT_EQ(serialize_failure("\xFE", kPublic, &(v = make(BUXTON_TYPE_STRING))),
              "Serialize: value has NULL string\n");
    v.setter = const_cast<char *>("\xFF");
    EXPECT_EQ(serialize_failure(kPublic, kPublic, &v), "Serialize: value has NULL string\n");

    // Texts GLib cannot hold fail quietly.
    v = make(BUXTON_TYPE_STRING);
    v.value.s = const_cast<char *>("caf\xC3");
    EXPECT_EQ(serialize_failure(kPublic, kPublic, &v), "");
    v = make(BUXTON_TYPE_INT32);
    v.setter = const_cast<char *>("\xFF");
    EXPECT_EQ(serialize_failure(kPublic, kPublic, &v), "");
    EXPECT_EQ(serialize_failure("\xFE", kPublic, &(v = make(BUXTON_TYPE_INT32))), "");
}

// The named steps of the conversions are the plug-in's own exports.
TEST(ConversionSteps, AreCallableOnTheirOwn)
{
    GVariant *box = g_variant_ref_sink(
        g_variant_new_variant(g_variant_new("(ssv)", kPublic, kPlatform, g_variant_new_uint32(9))));
    uint8_t *data = nullptr;
    int len = 0;
    ASSERT_EQ(gv_to_data(box, &data, &len), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(data), static_cast<size_t>(len)),
              std::string(static_cast<const char *>(g_variant_get_data(box)), g_variant_get_size(box)));
    free(data);

    char *rp = nullptr, *wp = nullptr;
    buxton_value v{};
    ASSERT_EQ(gv_to_values(box, &rp, &wp, &v), 0);
    EXPECT_STREQ(rp, kPublic);
    EXPECT_STREQ(wp, kPlatform);
    EXPECT_EQ(v.type, BUXTON_TYPE_UINT32);
    EXPECT_EQ(v.value.u, 9u);
    EXPECT_STREQ(v.setter, "");
    free(rp);
    free(wp);
    free(v.setter);
    g_variant_unref(box);

    GVariant *unit = g_variant_ref_sink(g_variant_new_tuple(nullptr, 0));
    v = buxton_value{};
    EXPECT_EQ(gv_to_val(unit, &v), 0);
    EXPECT_EQ(v.type, BUXTON_TYPE_UNKNOWN);
    g_variant_unref(unit);
}

// Reading: a database of records made by GLib, listed and read by the tool.
class Deserialize : public ::testing::Test {
protected:
    harness::DeviceRoot root;
    const std::string path = "/opt/usr/dbspace/records.db";

    // Lists the database and replaces printed addresses by ADDR.
    std::string listing(const std::vector<bx::Row> &rows, const std::string &more_input = "")
    {
        bx::make_db(root.host_path(path), rows);
        harness::RunResult r = bx::run(root, "11\n1\n" + path + "\n3\n" + more_input + "99\n99\n");
        EXPECT_EQ(r.status, 0);
        return without_addresses(r.out);
    }

    static std::string without_addresses(std::string out)
    {
        const std::string mark = "invalid parameter (0x";
        for (size_t at = out.find(mark); at != std::string::npos; at = out.find(mark, at + 1)) {
            size_t end = out.find(')', at + mark.size());
            out.replace(at, end - at + 1, "invalid parameter (ADDR)");
        }
        return out;
    }
};

std::string line(int index, const std::string &key, const std::string &value, const std::string &type,
                 const std::string &setter, const char *rp = kPublic, const char *wp = kPlatform)
{
    return "[" + std::to_string(index) + "] key(" + key + ") value(" + value + ") rp(" + rp + ") wp(" + wp +
           ") type(" + type + ") setter(" + setter + ")\n";
}

std::string undecodable(const std::string &key, const std::string &why)
{
    return why + " ******failed to deserialize (" + key + ") ****** \n";
}

const char kBadValue[] = "failed to gv_to_val\nfailed to gv to values\n";

TEST_F(Deserialize, EveryTypeAndBothLayoutsAreListed)
{
    auto rec = [](GVariant *v, const char *setter = "System") {
        return std::optional<std::string>(bx::base64(bx::record(kPublic, kPlatform, setter, v)));
    };
    std::string out = listing({
        {"k01", rec(g_variant_new_string("Asia/Seoul"), "User")},
        {"k02", rec(g_variant_new_int32(-5), nullptr)},
        {"k03", rec(g_variant_new_uint32(4294967295u))},
        {"k04", rec(g_variant_new_int64(std::numeric_limits<int64_t>::min()))},
        {"k05", rec(g_variant_new_uint64((uint64_t{1} << 63) + 1))},
        {"k06", rec(g_variant_new_double(0.5))},
        {"k07", rec(g_variant_new_boolean(TRUE))},
        {"k08", rec(g_variant_new_boolean(FALSE), nullptr)},
        {"k09", rec(g_variant_new_tuple(nullptr, 0))},
        {"k10", rec(g_variant_new_string(""), "")},
    });
    const std::string expected = bx::transcript(
        {bx::open_text(path),
         bx::list_header(path) + line(0, "k01", "Asia/Seoul", "string", "User") + line(1, "k02", "-5", "int32", "") +
             line(2, "k03", "4294967295", "uint32", "System") +
             line(3, "k04", "-9223372036854775808", "int64", "System") +
             // uint64 is shown in signed decimal, all 64 bits kept
             line(4, "k05", "-9223372036854775807", "uint64", "System") +
             line(5, "k06", "0.500000", "double", "System") + line(6, "k07", "1", "bool", "System") +
             line(7, "k08", "0", "bool", "") + "[8] key(k09) unknown data type\n" +
             line(9, "k10", "", "string", "") + bx::list_totals(path, 10, 10)});
    EXPECT_EQ(out, expected) << harness::diff(expected, out);
}

TEST_F(Deserialize, UndecodableRecordsFailAloneAndTheListingGoesOn)
{
    auto rec = [](GVariant *v) { return std::optional<std::string>(bx::base64(bx::record(kPublic, kPlatform, "", v))); };
    auto raw = [](const std::string &bytes) { return std::optional<std::string>(bx::base64(bytes)); };
    const char *strv[] = {"a", "b", nullptr};
    // A record whose tuple offsets point outside it: GLib gives no texts.
    std::string broken = bx::record(kPublic, kPlatform, "", g_variant_new_int32(1));
    broken[broken.size() - 8] = '\xff';
    broken[broken.size() - 9] = '\xff';

    std::string out = listing({
        {"a01", rec(g_variant_new_byte(7))},
        {"a02", rec(g_variant_new_int16(-2))},
        {"a03", rec(g_variant_new_uint16(2))},
        {"a04", rec(g_variant_new_handle(3))},
        {"a05", rec(g_variant_new_object_path("/org/tizen"))},
        {"a06", rec(g_variant_new_signature("ai"))},
        {"a07", rec(g_variant_new_strv(strv, -1))},
        {"a08", rec(g_variant_new_maybe(G_VARIANT_TYPE_INT32, nullptr))},
        {"a09", rec(g_variant_new("(ii)", 1, 2))},
        {"a10", rec(g_variant_new_variant(g_variant_new_int32(1)))},
        {"a11", raw(bx::boxed(g_variant_new("(ss)", "r", "w")))},
        {"a12", raw(bx::boxed(g_variant_new_int32(4)))},
        {"a13", std::nullopt},
        {"a14", std::string("!!!!")},
        {"a15", raw("\x01\x02garbage\x03")},
        {"a16", raw(broken)},
        {"a17", rec(g_variant_new_int32(42))},
    });
    const std::string expected = bx::transcript(
        {bx::open_text(path),
         bx::list_header(path) + undecodable("a01", "bad message (y)\n" + std::string(kBadValue)) +
             undecodable("a02", "bad message (n)\n" + std::string(kBadValue)) +
             undecodable("a03", "bad message (q)\n" + std::string(kBadValue)) +
             undecodable("a04", "bad message (h)\n" + std::string(kBadValue)) +
             undecodable("a05", "bad message (o)\n" + std::string(kBadValue)) +
             undecodable("a06", "bad message (g)\n" + std::string(kBadValue)) +
             undecodable("a07", "bad message (a)\n" + std::string(kBadValue)) +
             undecodable("a08", "bad message (m)\n" + std::string(kBadValue)) +
             undecodable("a09", "bad message (()\n" + std::string(kBadValue)) +
             undecodable("a10", "bad message (v)\n" + std::string(kBadValue)) +
             undecodable("a11", "Deserialize: Unsupported type: (ss)\nfailed to gv to values\n") +
             undecodable("a12", "Deserialize: Unsupported type: i\nfailed to gv to values\n") +
             undecodable("a13", "invalid parameter ((nil))-(0)\n") +
             undecodable("a14", "invalid parameter (ADDR)-(0)\n") +
             undecodable("a15", "Deserialize: Unsupported type: ()\nfailed to gv to values\n") +
             undecodable("a16", "failed to gv to values\n") + line(16, "a17", "42", "int32", "") +
             bx::list_totals(path, 17, 1)});
    EXPECT_EQ(out, expected) << harness::diff(expected, out);
}

TEST_F(Deserialize, ReadingAKeyShowsValueAndPrivilegesOnly)
{
    auto rec = [](GVariant *v, const char *rp = kPublic) {
        return std::optional<std::string>(bx::base64(bx::record(rp, kPlatform, "System", v)));
    };
    std::string out = listing(
        {
            {"i64", rec(g_variant_new_int64(std::numeric_limits<int64_t>::max()), kPlatform)},
            {"u64", rec(g_variant_new_uint64(std::numeric_limits<uint64_t>::max()))},
            {"u32", rec(g_variant_new_uint32(7))},
            {"dbl", rec(g_variant_new_double(-2.25))},
            {"unit", rec(g_variant_new_tuple(nullptr, 0))},
            {"bad", rec(g_variant_new_byte(1))},
        },
        "8\ni64\n8\nu64\n8\nu32\n8\ndbl\n8\nunit\n8\nbad\nexit\n");
    const std::string ask = "Please enter key name to read or 'exit'\n";
    const std::string privs = std::string(" rp(") + kPublic + ") wp(" + kPlatform + ")\n";
    const std::string expected_tail =
        ask + "key(i64) value(9223372036854775807) rp(" + kPlatform + ") wp(" + kPlatform + ")\n" + bx::menu() + ask +
        "key(u64) value(-1)" + privs + bx::menu() + ask + "key(u32) value(7)" + privs + bx::menu() + ask +
        "key(dbl) value(-2.250000)" + privs + bx::menu() + ask + "key(unit) unknown data type\n" + bx::menu() + ask +
        "bad message (y)\n" + kBadValue + "failed to deserialize (bad)\n" + ask + bx::menu() + harness::main_menu();
    ASSERT_GE(out.size(), expected_tail.size());
    std::string tail = out.substr(out.size() - expected_tail.size());
    EXPECT_EQ(tail, expected_tail) << harness::diff(expected_tail, tail);
}

}  // namespace
