// Configuration texts on this machine, beside inih, which keeps nothing and only calls back.
#include <ini.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "benches/config_sample.h"
#include "benches/measure.h"
#include "config/config_text.h"
#include "config/encoding.h"

namespace {

void Check(bool done, const char* what)
{
    if (!done) {
        std::fprintf(stderr, "config_native_bench: %s failed\n", what);
        std::exit(1);
    }
}

void MeasureSize(const char* size, std::size_t bytes)
{
    const n_bench::t_sample sample = n_bench::MakeSample(bytes);
    const std::string text(sample.text.begin(), sample.text.end());
    const auto read = [&] {
        std::wstring decoded;
        n_config::t_configText file;
        Check(n_config::DecodeText(text, decoded) == n_config::t_decoded::text, "DecodeText");
        file.Parse(std::move(decoded));
        Check(file.FindValue(sample.section, sample.key).has_value(), "Parse");
    };
    const auto readInih = [&] {
        std::size_t keys = 0;
        const ini_handler count = [](void* user, const char*, const char*, const char*) {
            ++*static_cast<std::size_t*>(user);
            return 1;
        };
        Check(ini_parse_string(text.c_str(), count, &keys) == 0 && keys > 0, "ini_parse_string");
    };
    char row[64], remark[96];
    std::snprintf(row, sizeof(row), "configuration, read a text of %s", size);
    const n_bench::t_measured measured = n_bench::Measure(read, readInih, 0.8);
    std::snprintf(remark, sizeof(remark), "%.2f ms to %.2f ms; natively, UTF-8; it keeps nothing",
                  measured.subject * 1000, measured.peer * 1000);
    n_bench::PrintRow(row, "inih", measured.Ratio(), "", remark);
}

} // namespace

int main()
{
    MeasureSize("10 KiB", std::size_t{10} << 10);
    MeasureSize("1 MiB", std::size_t{1} << 20);
    MeasureSize("64 MiB", std::size_t{64} << 20);
    return 0;
}
