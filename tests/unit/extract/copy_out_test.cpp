#include "extract/copy_out.h"

#include <gtest/gtest.h>

#include <sstream>

#include "base/text.h"
#include "extract/digests.h"
#include "platform/host_paths.h"
#include "run/filter_tables.h"
#include "support/open_volume.h"
#include "support/temp_folder.h"

namespace {

using build::bytes, build::content_of, build::hole;

constexpr const char* md5_of_hello = "5d41402abc4b2a76b9719d911017c592";

// Record 1 of a volume with clusters of 1024 bytes, and the state of a stream of it.
struct one_record {
    opened_volume opened;
    file_record record;
    stream_state state;

    explicit one_record(const build::record& built) : opened(build::volume(64).mft({{4, 4}}, {built.on_disk()}).all()) {
        opened.decode(record, 1);
    }
    const attr_entry& last() { return (record.attributes.end() - 1)->value; }
    bool digest() {
        opened.ctx.want_md5 = true;
        return digest_stream(record, opened.ctx, &record.std_infos.begin()->value, &last(), state);
    }
    // The copy's path below the folder, with "/" on every host.
    std::string copy(const std::u16string& folder, std::string_view path = "[root]\\") {
        opened.ctx.copy_files = true;
        opened.ctx.copy_dir = folder;
        state.begin_stream(record, path);
        state.extracted_path = u"a:b.txt";
        copy_stream(record, opened.ctx, last(), state);
        std::string below =
            utf8_from_utf16(state.extracted_path.substr(std::min(folder.size(), state.extracted_path.size())));
        return std::replace(below.begin(), below.end(), '\\', '/'), below;
    }
};

build::record hello() { return build::record().std_info().name(u"a:b.txt").data("hello"); }
build::record in_clusters(const std::vector<build::run>& runs, std::uint64_t size) {
    return build::record().std_info().non_resident(0x80, build::pairs(runs), size);
}

md5_value md5_of(const bytes& content) {
    md5_context digest;
    digest.update(content);
    return digest.finish();
}

TEST(digest_stream, goes_by_sizes_holes_and_slack_as_the_options_say) {
    const struct {
        const char* what;
        bool raw, skip_sparse;
        bytes content;
    } cases[] = {
        {"holes are zeros, the end is the file's", false, false, content_of({{20}, {hole}, {21, 452}})},
        {"left-out holes take their bytes along", false, true, content_of({{20}, {21}})},
        {"the slack belongs to a raw read", true, false, content_of({{20}, {hole}, {21}})},
    };
    for (const auto& c : cases) {
        one_record file(in_clusters({{1, 20}, {1, hole}, {1, 21}}, 2500));
        file.opened.ctx.raw_copy = c.raw;
        file.opened.ctx.skip_sparse = c.skip_sparse;
        EXPECT_TRUE(file.digest()) << c.what;
        EXPECT_EQ(file.state.md5_digest, md5_of(c.content)) << c.what;
    }
}

TEST(digest_stream, a_failed_read_or_nothing_to_read_leaves_zeros) {
    const std::pair<const char*, build::record> cases[] = {
        {"a cluster behind the volume's end", in_clusters({{1, 20}, {1, 5000}}, 2048)},
        {"no runs", in_clusters({}, 2048)},
        {"no clusters", in_clusters({{1, 20}}, 0)},
        {"an empty value", build::record().std_info().data("")},
        {"no $DATA", build::record().std_info().resident(0x50, bytes(8, 1))},
    };
    for (const auto& [what, built] : cases) {
        one_record file(built);
        file.state.extracted_path = u"name";
        EXPECT_FALSE(file.digest()) << what;
        EXPECT_EQ(file.state.md5_digest, md5_value{}) << what;
        EXPECT_TRUE(file.state.extracted_path.empty()) << what;
    }
}

TEST(digest_stream, a_failure_is_told_by_what_failed) {
    std::ostringstream told;
    one_record file(in_clusters({{1, 20}}, 1024));
    file.opened.ctx.diags_log.stream = std::make_unique<std::ostream>(told.rdbuf());
    file.opened.disk->bad = {{20 * 1024, 21 * 1024}};
    for (const std::string& reason : {system_error_text(5), std::string("runs, sizes or units do not fit")}) {
        EXPECT_FALSE(file.digest());
        EXPECT_TRUE(told.str().ends_with("to the end: " + reason + "\n")) << told.str();
        (file.record.attributes.end() - 1)->value.runs.clear();
    }
}

TEST(digest_stream, an_id_that_two_records_gave_does_not_lead_to_another_stream) {
    one_record file(in_clusters({{1, 20}}, 1024));
    bool made = false;
    const attr_key ahead = (file.record.attributes.end() - 1)->key - type_data + type_security_descriptor;
    attr_entry& other = file.record.attributes.insert(ahead, made);
    other.raw = file.last().raw;
    other.runs = one_record(in_clusters({{1, 21}}, 1024)).last().runs;
    EXPECT_TRUE(file.digest());
    EXPECT_EQ(file.state.md5_digest, md5_of(content_of({{20}})));
}

TEST(user_names, are_the_component_behind_the_profiles) {
    const std::pair<const char*, const char16_t*> cases[] = {
        {"[root]\\Users\\bob\\Desktop\\", u"bob"},
        {"[root]\\Documents and Settings\\ann\\x\\", u"ann"},
        {"[root]\\Users\\bob\\", u""},
        {"[root]\\Users\\", u""},
        {"[root]\\Windows\\", u"non_acct"},
    };
    for (const auto& [path, name] : cases) {
        std::u16string found;
        set_user_name(found, path);
        EXPECT_EQ(found, name) << path;
    }
}

TEST(copy_out, a_copy_lies_by_state_account_and_reason_under_time_digest_and_name) {
    const temp_folder folder;
    std::u16string deep = folder.path();  // deeper than the host likes
    for (int level = 0; level < 3; ++level) {
        deep += temp_folder::separator() + std::u16string(90, u'd');
        ASSERT_TRUE(create_directory(deep));
    }
    const std::u16string colon(1, temp_folder::separator() == u'/' ? u':' : u'_');
    const std::string name =
        "2020_01_01_0000_00_000_" + std::string(md5_of_hello) + "_a" + utf8_from_utf16(colon) + "b.txt";
    one_record file(hello());
    for (const char* content : {"hello", "what is there already stays"}) {
        EXPECT_EQ(file.copy(deep), "/valid/non_acct/catchall/" + name + ".bin");
        EXPECT_EQ(temp_folder::content(file.state.extracted_path), content);
        temp_folder::put(file.state.extracted_path, "what is there already stays");
    }
    EXPECT_FALSE(temp_folder::exists(deep + temp_folder::separator() + u"__temp__.bin"));
    file.record.matches[match_directory].hit = true;
    file.record.matches[match_directory].text = "\\Windows\\My Files\\";
    file.opened.ctx.use_orig_ext = true;
    EXPECT_EQ(file.copy(deep, "[root]\\Users\\..\\x\\"), "/valid/__/[root]-Windows-My_Files-/" + name);
    file.record.matches[match_extension].hit = true;
    file.record.matches[match_extension].text = "";
    file.opened.ctx.unalloc_phase = true;
    EXPECT_EQ(file.copy(deep), "/deleted-unalloc/non_acct/" + name);
}

TEST(copy_out, a_failed_copy_leaves_neither_path_nor_file) {
    const temp_folder folder;
    one_record cut(in_clusters({{1, 20}, {1, 5000}}, 2048));
    cut.opened.ctx.instance_number = 26;
    EXPECT_EQ(cut.copy(folder.path()), "");
    EXPECT_FALSE(temp_folder::exists(folder.path(u"1a__temp__.bin")));
    EXPECT_EQ(one_record(hello()).copy(folder.path(u"missing")), "");
    one_record source(hello());
    temp_folder::put(folder.path(u"__temp__.bin"), "evidence");
    protect(source.opened.ctx.evidence, folder.path(u"__temp__.bin"));
    EXPECT_EQ(source.copy(folder.path()), "");
    EXPECT_EQ(temp_folder::content(folder.path(u"__temp__.bin")), "evidence");
}

TEST(copy_out, another_runs_file_and_a_link_in_the_temporary_files_place_stay_as_they_are) {
    const temp_folder folder;
    native_file theirs;
    ASSERT_NE(claim_file(theirs, folder.path(u"__temp__.bin")), claim_outcome::taken);
    temp_folder::put(folder.path(u"victim"), "victim");
    std::error_code no_link;
    std::filesystem::create_hard_link(folder.path(u"victim"), folder.path(u"__temp__1.bin"), no_link);
    std::filesystem::create_symlink(folder.path(u"victim"), folder.path(u"__temp__2.bin"), no_link);
    ASSERT_TRUE(create_directory(folder.path(u"__temp__3.bin")));
    one_record file(hello());
    EXPECT_NE(file.copy(folder.path()), "");
    EXPECT_EQ(temp_folder::content(file.state.extracted_path), "hello");
    EXPECT_EQ(temp_folder::content(folder.path(u"victim")), "victim");
    EXPECT_TRUE(write_next(theirs, "left", 4) && file_size(theirs) == 4);
    close_file(theirs);
    EXPECT_NE(file.copy(folder.path()), "");
    EXPECT_FALSE(temp_folder::exists(folder.path(u"__temp__.bin"))) << "what was left there is taken";
}

TEST(copy_out, a_file_in_a_folders_place_sends_the_copy_to_the_catchall) {
    const temp_folder folder;
    const std::u16string valid = folder.path(u"valid"), separator(1, temp_folder::separator());
    ASSERT_TRUE(create_directory(valid));
    temp_folder::put(valid + separator + u"non_acct", "x");
    one_record file(hello());
    file.copy(folder.path());
    EXPECT_TRUE(file.state.extracted_path.starts_with(valid + separator + u"catchall"));
}

TEST(copy_out, sub_options_and_named_streams_select) {
    one_record file(hello().data("x", u"Stream").resident(0x50, bytes(8, 1)));
    mft_entries_ctx& ctx = file.opened.ctx;
    const auto selected = [&] {
        std::string labels;
        for (const auto& [key, value] : file.record.attributes)
            if (is_selected_for_copy(file.record, value, ctx)) labels += std::string(value.label) + ";";
        return labels;
    };
    const std::pair<bool mft_settings::*, const char*> cases[] = {
        {&mft_settings::copy_all_streams, "unnamed data;ads;security descr;"},
        {&mft_settings::copy_normal_data, "unnamed data;"},
        {&mft_settings::copy_named_data, "ads;"},
    };
    for (const auto& [option, labels] : cases) {
        ctx.*option = true;
        EXPECT_EQ(selected(), labels);
        ctx.*option = false;
    }
    bool made = false;
    filter_entry& entry = ctx.selected_inodes.insert(std::uint64_t{1}, made);
    entry.has_stream = true;
    entry.streams = {u"stream"};
    EXPECT_EQ(selected(), "ads;");
}

}  // namespace
