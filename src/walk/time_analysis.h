// Verdict on a record's times: signs that they were tampered with, or are absent.
// Called by the acceptance pipeline for every accepted record.
// Gives one word at most; turning times into rows is report/'s work.
#pragma once

struct file_record;

// Sets time_warning and its text from the first rule that fires, or clears both. A torn record is told of ahead of it:
// its times may be those of two moments.
void analyze_record_times(file_record& record, bool torn = false);
