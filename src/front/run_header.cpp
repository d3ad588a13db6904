#include "front/run_header.h"

#include "base/text.h"
#include "front/scanners.h"
#include "front/usage.h"
#include "platform/host.h"
#include "report/time_text.h"

namespace {

void append_local_time(std::string& out, const std::vector<std::string>& args) {
    const local_moment now = local_time_now();
    time_point moment;
    moment.valid = true;
    moment.year = now.year;
    moment.month = now.month;
    moment.day = now.day;
    moment.hour = now.hour;
    moment.minute = now.minute;
    moment.second = now.second;
    moment.remainder = static_cast<std::uint32_t>(now.millisecond) * 10'000;

    std::string format = "mm/dd/yyyy";
    peek_value("-dateformat", format, args);
    char text[date_room + time_room];
    out.append(text, put_date(text, moment, plan_date(lowered_ascii(format))));
    out += ' ';
    out.append(text, put_time(text, moment, plan_time("hh:mm:ss.xxx")));
}

}  // namespace

std::string build_run_header(const std::vector<std::string>& args) {
    std::string out = banner;
    out += "\nrun time: ";
    append_local_time(out, args);
    out += " [local time]; computer: " + computer_name() + "; os: " + system_text() + "\n";
    out += "\"cmdline: ";
    if (has_pipe(args)) out += "<filelist> ... | ";
    out += joined(args, '\'') + "\"\n";
    return out;
}
