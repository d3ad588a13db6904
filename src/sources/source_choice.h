// Which source a run reads: what the source options named, in one order of precedence, and the kinds that there are.
// Filled by the option passes, read by the opening of the volume and by all who must know a source from other files.
// Opens nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum reader_kind : std::int32_t {
    kind_file = 0,            // an image
    kind_volume = 1,          // a letter, or where there are none the path of a device
    kind_device_path = 2,     // a path that goes to the system as it stands
    kind_physical_drive = 3,  // a whole drive, by its number
    kind_vmdk = 4,            // a disk and its snapshots
    kind_mft_file = 5,        // an extracted $MFT: read as a plain_file, no volume
    kind_none = 6,
};

struct source_choice {
    reader_kind kind = kind_none;
    std::vector<std::u16string> paths{};  // the disks of a chain; one path of any other kind, none of a drive
    std::uint64_t drive_number = 0;
    std::uint64_t volume_offset = 0;  // bytes
    std::u16string text{};            // how reports call the source
};

// What the options left. Several can be named; one is read.
struct named_sources {
    std::u16string mft_file_path;
    reader_kind source_kind = kind_none;  // of the extracted $MFT or the live volume
    std::uint64_t volume_offset = 0;      // bytes, as asked for or as the check of the image found it
    std::u16string image_path_disk;
    std::u16string image_path_volume;
    std::u16string live_volume_text;
    std::int32_t drive_number = -1;
    std::vector<std::u16string> vmdk_paths;
};
// In the order of precedence: the first is the one that is read. Empty without a source.
std::vector<source_choice> choices_of(const named_sources& named);

// Two back slashes ahead make a device path, of a live volume as of an image.
reader_kind kind_of_live_volume(const std::u16string& text);
source_choice live_choice(const std::u16string& text);
// A path that has the form of a letter, or of a device path, is opened as such.
source_choice image_choice(const std::u16string& path, std::uint64_t volume_offset);
source_choice drive_choice(std::uint64_t number, std::uint64_t volume_offset);
