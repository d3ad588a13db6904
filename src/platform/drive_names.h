// Which of the system's block devices count as drives, and in what order they are numbered.
// Called where devices have names instead of numbers. Plain text work: the same on every host.
// Does not ask whether a device exists or can be opened.
#pragma once

#include <string>
#include <vector>

// Leaves out loop, ram, zram, optical and device-mapper nodes. Numbers within a name count as numbers, and of two runs
// of letters of one driver the shorter comes first: sdb, sdz, sdaa; nvme2n1, nvme10n1.
void order_drive_names(std::vector<std::string>& names);
