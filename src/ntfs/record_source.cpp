#include "ntfs/record_source.h"

#include "ntfs/volume.h"
#include "sources/plain_file.h"

record_source::record_source() = default;
record_source::~record_source() = default;
