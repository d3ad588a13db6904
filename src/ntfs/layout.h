// Where the fields of on-disk NTFS structures lie: offsets count from the structure's first byte, the number behind
// each is its width in bytes. Facts from the published descriptions of NTFS, as in the Linux-NTFS documentation.
// Used by every decoder in place of naked numbers; holds no code that reads. The boot sector: sources/boot_layout.h.
#pragma once

#include <cstddef>
#include <cstdint>

// File record header.
struct record_at {
    enum : std::size_t {
        signature = 0,           // 4  "FILE", "BAAD"
        fixup_offset = 4,        // 2  where the update sequence array begins
        fixup_count = 6,         // 2  its words, the check word among them
        log_sequence = 8,        // 8
        sequence = 16,           // 2
        link_count = 18,         // 2
        first_attribute = 20,    // 2
        flags = 22,              // 2  record_flag
        bytes_used = 24,         // 4
        bytes_allocated = 28,    // 4
        base_reference = 32,     // 8  0 in a base record
        next_attribute_id = 40,  // 2
        record_number = 44,      // 4  only where the update sequence array begins at 48
        header_size = 42,
        header_with_number = 48,  // of the form that carries it
    };
};

enum record_flag : std::uint16_t { record_in_use = 1, record_is_directory = 2 };

// Attribute header; behind byte 16 the resident and the non-resident form differ.
struct attribute_at {
    enum : std::size_t {
        type = 0,               // 4
        length = 4,             // 4  header included
        non_resident = 8,       // 1
        name_length = 9,        // 1  in UTF-16 units
        name_offset = 10,       // 2
        flags = 12,             // 2
        id = 14,                // 2
        value_length = 16,      // 4  resident
        value_offset = 20,      // 2  resident
        resident_flags = 22,    // 1  resident; bit 0: the value is a key of an index
        resident_size = 24,     // of the resident header
        first_vcn = 16,         // 8  non-resident, as all below
        pairs_offset = 32,      // 2
        compression_unit = 34,  // 1  clusters, as a power of two; 0: not compressed
        allocated_size = 40,    // 8
        real_size = 48,         // 8
        initialised_size = 56,  // 8
        compressed_size = 64,   // 8  only in compressed and sparse attributes
    };
};

// Value of $FILE_NAME.
struct file_name_at {
    enum : std::size_t {
        parent = 0,        // 8
        created = 8,       // 8
        modified = 16,     // 8
        mft_changed = 24,  // 8
        accessed = 32,     // 8
        name_length = 64,  // 1  in UTF-16 units
        name_space = 65,   // 1
        name = 66,
    };
};

// Value of $STANDARD_INFORMATION.
struct standard_information_at {
    enum : std::size_t {
        created = 0,         // 8
        modified = 8,        // 8
        mft_changed = 16,    // 8
        accessed = 24,       // 8
        file_flags = 32,     // 4
        old_form_size = 48,  // what follows is missing in volumes of old versions
        security_id = 52,    // 4
        quota = 56,          // 8
        journal = 64,        // 8
    };
};

// Entry of $ATTRIBUTE_LIST.
struct list_entry_at {
    enum : std::size_t {
        type = 0,           // 4
        length = 4,         // 2
        name_length = 6,    // 1  in UTF-16 units
        name_offset = 7,    // 1
        reference = 16,     // 8
        attribute_id = 24,  // 2
        header_size = 26,
    };
};

// Value of $OBJECT_ID: four GUIDs, of which the last three may be missing.
struct object_id_at {
    enum : std::size_t { object = 0, birth_volume = 16, birth_object = 32, domain = 48 };  // 16 each
};

struct guid_at {
    enum : std::size_t {
        first = 0,   // 4
        second = 4,  // 2
        third = 6,   // 2
        bytes = 8,   // 8  single bytes; two of them stand ahead of the last dash
        last = 10,   // 6  behind it
        size = 16,
    };
};

// Value of $VOLUME_INFORMATION.
struct volume_information_at {
    enum : std::size_t {
        first = 0,    // 8
        version = 8,  // 4  major, minor, flags
        major = 8,    // 1
        minor = 9,    // 1
    };
};

// Value of $INDEX_ROOT.
struct index_root_at {
    enum : std::size_t {
        indexed_type = 0,  // 4  attribute_type
        block_size = 8,    // 4  bytes of an index block
        node = 16,         //    index_node_at
    };
};

// Index block of $INDEX_ALLOCATION, ahead of its entries. The update sequence lies as in a file record.
struct index_block_at {
    enum : std::size_t {
        signature = 0,  // 4  "INDX"
        node = 24,      //    index_node_at
        size = 4096,    //    whatever $INDEX_ROOT says
    };
};

// Header of the entries of a node; offsets count from its own first byte.
struct index_node_at {
    enum : std::size_t {
        first_entry = 0,    // 4
        entries_bytes = 4,  // 4  of all entries, this header included
    };
};

struct index_entry_at {
    enum : std::size_t {
        reference = 0,    // 8
        length = 8,       // 2
        key_length = 10,  // 2
        flags = 12,       // 2  index_entry_flag
    };
};

enum index_entry_flag : std::uint16_t { index_entry_has_node = 1, index_entry_is_last = 2 };

constexpr std::uint32_t index_signature = 0x58444E49;  // "INDX"

// Value of $REPARSE_POINT. Behind the lengths a symbolic link has its flags, a mount point its path buffer.
struct reparse_at {
    enum : std::size_t {
        tag = 0,          // 4  reparse_tag
        data_length = 4,  // 2
        header_size = 8,
        substitute_offset = 8,   // 2  bytes, from the path buffer
        substitute_length = 10,  // 2
        print_offset = 12,       // 2
        print_length = 14,       // 2
        path_buffer = 16,
        link_flags = 16,  // 4  bit 0: relative
        link_path_buffer = 20,
    };
};

enum reparse_tag : std::uint32_t { tag_mount_point = 0xA0000003, tag_symbolic_link = 0xA000000C };

// Value of $SECURITY_DESCRIPTOR, self-relative: byte offsets into itself, 0 for what is absent.
struct security_descriptor_at {
    enum : std::size_t {
        owner = 4,                // 4
        group = 8,                // 4
        system_list = 12,         // 4
        discretionary_list = 16,  // 4
    };
};
struct acl_at {
    enum : std::size_t { count = 4 /* 2 */, first_entry = 8 };
};
struct ace_at {
    enum : std::size_t {
        type = 0,  // 1
        size = 2,  // 2
        mask = 4,  // 4
        sid = 8,
    };
};
struct sid_at {
    enum : std::size_t {
        revision = 0,         // 1
        count = 1,            // 1  sub-authorities
        authority = 7,        // 1  the last of six bytes
        sub_authorities = 8,  // 4 each
    };
};

enum attribute_flag : std::uint16_t {
    attribute_is_compressed = 1,
    attribute_is_encrypted = 0x4000,
    attribute_is_sparse = 0x8000,
};

enum attribute_type : std::uint32_t {
    type_standard_information = 0x10,
    type_attribute_list = 0x20,
    type_file_name = 0x30,
    type_object_id = 0x40,
    type_security_descriptor = 0x50,
    type_volume_name = 0x60,
    type_volume_information = 0x70,
    type_data = 0x80,
    type_index_root = 0x90,
    type_index_allocation = 0xA0,
    type_bitmap = 0xB0,
    type_reparse_point = 0xC0,
    type_ea_information = 0xD0,
    type_ea = 0xE0,
    type_property_set = 0xF0,
    type_logged_utility_stream = 0x100,
    type_end = 0xFFFFFFFF,
};

enum file_name_space : std::uint8_t { name_posix = 0, name_win32 = 1, name_dos = 2, name_win32_and_dos = 3 };

constexpr std::uint64_t inode_mask = 0xFFFF'FFFF'FFFF;  // low 48 bits of a file reference
constexpr unsigned sequence_shift = 48;
constexpr std::uint64_t root_inode = 5;
