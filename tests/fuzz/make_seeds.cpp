// Writes the fuzzer's seed corpus into a directory: valid stored records of
// every value type in both layouts, as raw bytes and as a row's base64 text,
// and a few records the decoder must refuse.
#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const char kPublic[] = "http://tizen.org/privilege/internal/default/public";
const char kPlatform[] = "http://tizen.org/privilege/internal/default/platform";

std::string store(GVariant *floating)
{
    GVariant *box = g_variant_ref_sink(g_variant_new_variant(floating));
    std::string bytes(static_cast<const char *>(g_variant_get_data(box)), g_variant_get_size(box));
    g_variant_unref(box);
    return bytes;
}

std::vector<GVariant *> values()
{
    return {g_variant_new("()"),
            g_variant_new_string("Asia/Seoul"),
            g_variant_new_string(""),
            g_variant_new_int32(-5),
            g_variant_new_uint32(4000000000u),
            g_variant_new_int64(G_GINT64_CONSTANT(-9000000000000000000)),
            g_variant_new_uint64(G_GUINT64_CONSTANT(18000000000000000000)),
            g_variant_new_double(2.5),
            g_variant_new_boolean(TRUE)};
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    g_mkdir_with_parents(argv[1], 0755);

    std::vector<std::string> records;
    for (GVariant *v : values())
        records.push_back(store(g_variant_new("(sssv)", kPublic, kPlatform, "buxton-seed", v)));
    for (GVariant *v : values())
        records.push_back(store(g_variant_new("(ssv)", kPlatform, kPublic, v)));
    // Refused: a value type the store does not hold, and a tuple of the
    // wrong shape.
    records.push_back(store(g_variant_new("(sssv)", kPublic, kPublic, "", g_variant_new_byte(7))));
    records.push_back(store(g_variant_new("(sssv)", kPublic, kPublic, "", g_variant_new("(ii)", 1, 2))));
    records.push_back(store(g_variant_new("(ss)", kPublic, kPublic)));

    int n = 0;
    auto write = [&](char mode, const std::string &body) {
        std::string path = std::string(argv[1]) + "/seed-" + std::to_string(n++);
        std::string content = std::string(1, mode) + body;
        if (!g_file_set_contents(path.c_str(), content.data(), static_cast<gssize>(content.size()), nullptr)) {
            fprintf(stderr, "cannot write %s\n", path.c_str());
            exit(1);
        }
    };
    for (const std::string &r : records) {
        write('\0', r);
        gchar *text = g_base64_encode(reinterpret_cast<const guchar *>(r.data()), r.size());
        write('\1', text);
        g_free(text);
    }
    write('\3', "");  // a row whose data is SQL NULL
    printf("%d seeds in %s\n", n, argv[1]);
    return 0;
}
