#include "report/macb_groups.h"

#include <algorithm>

namespace {

// One time of the four on its way into the rows.
struct letter_time {
    char letter;
    std::uint64_t time;
    const std::string& label;
    bool valid;
    bool used = false;  // folded into an earlier row

    bool opens_row() const { return !used && valid && time != 0; }
};

// A row being written: letters and label grow in step.
class row_builder {
public:
    row_builder(macb_input& input, std::uint64_t time, std::size_t& remaining)
        : input_(input), remaining_(remaining), time_(time) {}

    // `opening` is the row's letters up to its own: "M", ".A", "..C".
    void open(std::string_view opening, const std::string& label) {
        row.macb_text = opening;
        if (!label.empty()) {
            add_specific(label);
        } else if (!input_.default_label.empty()) {
            row.label_text += input_.default_label + " [" + std::string(opening);
        }
    }

    void add_letter(letter_time& time) { put(fold(time) ? time.letter : '.', time); }

    // The change step: c itself, and every further change time of the same moment.
    void add_changes(letter_time& change) {
        const bool own = fold(change);
        if (own) put(change.letter, change);
        const std::size_t label_before = row.label_text.size();
        const bool extra = remaining_ > 0 && take_extras(true);
        if (own) return;
        if (!extra) {
            put('.', change);
            return;
        }
        row.macb_text += 'C';
        const bool labelled = row.label_text.size() != label_before;
        if (!labelled && !input_.default_label.empty()) row.label_text += 'C';
    }

    // Labels and texts of the further change times of this moment. True if there was one.
    bool take_extras(bool mark_done) {
        bool any = false;
        for (std::size_t index = 0; index < input_.extra_times.size(); ++index) {
            if (input_.extra_done[index] != 0 || input_.extra_times[index] != time_) continue;
            if (mark_done) input_.extra_done[index] = 1;
            if (remaining_ > 0) --remaining_;
            add_extra(index);
            any = true;
        }
        return any;
    }

    void add_extra(std::size_t index) {
        if (!input_.extra_labels[index].empty()) add_specific(input_.extra_labels[index]);
        row.extra_text_a += input_.extra_texts_a[index];
        row.extra_text_b += input_.extra_texts_b[index];
    }

    void close_label() {
        if (!input_.default_label.empty()) row.label_text += ']';
    }

    macb_row row;

private:
    bool fold(letter_time& time) const {
        if (time.used || !time.valid || time.time != time_) return false;
        time.used = true;
        return true;
    }

    void put(char sign, const letter_time& time) {
        row.macb_text += sign;
        if (!time.label.empty()) {
            if (sign != '.') add_specific(time.label);
        } else if (!input_.default_label.empty()) {
            row.label_text += sign;
        }
    }

    void add_specific(const std::string& label) {
        if (specific_) row.label_text += "; ";
        specific_ = true;
        row.label_text += label;
    }

    macb_input& input_;
    std::size_t& remaining_;
    std::uint64_t time_;
    bool specific_ = false;
};

class macb_grouping {
public:
    macb_grouping(macb_rows& result, macb_input& input, time_mode mode)
        : result_(result), input_(input), mode_(mode), remaining_(input.extra_times.size()) {
        const std::size_t count = remaining_;
        input.extra_done.assign(count, 0);
        for (auto* texts : {&input.extra_labels, &input.extra_texts_a, &input.extra_texts_b}) texts->resize(count);
    }

    void run() {
        if (m_.opens_row()) add_row_opened_by(m_, "M", {&a_}, &c_, &b_);
        if (a_.opens_row()) add_row_opened_by(a_, ".A", {}, &c_, &b_);
        if (c_.opens_row()) add_row_opened_by(c_, "..C", {}, nullptr, &b_);
        if (b_.opens_row()) add_creation_row();
        if (remaining_ > 0) add_leftover_rows();
    }

private:
    letter_time letter(char sign, std::uint64_t time, const std::string& label) const {
        return {sign, time, label, time_point_of(time, mode_).valid};
    }

    void add_row_opened_by(letter_time& opener, std::string_view opening, const std::vector<letter_time*>& letters,
                           letter_time* change, letter_time* creation) {
        row_builder builder(input_, opener.time, remaining_);
        opener.used = true;
        builder.open(opening, opener.label);
        for (letter_time* each : letters) builder.add_letter(*each);
        if (change != nullptr) {
            builder.add_changes(*change);
        } else {
            // Kept: the row of c takes texts of equal change times and leaves them to be used again.
            builder.take_extras(false);
        }
        builder.add_letter(*creation);
        builder.close_label();
        add(builder.row, opener.time);
    }

    void add_creation_row() {
        row_builder builder(input_, b_.time, remaining_);
        const bool changed = remaining_ > 0 && has_extra_at(b_.time);
        // Kept: here the labels of the change times come ahead of the row's own.
        if (changed) builder.take_extras(true);
        builder.open(changed ? "..CB" : "...B", b_.label);
        if (b_.label.empty()) builder.close_label();
        add(builder.row, b_.time);
    }

    bool has_extra_at(std::uint64_t time) const {
        for (std::size_t index = 0; index < input_.extra_times.size(); ++index) {
            if (input_.extra_done[index] == 0 && input_.extra_times[index] == time) return true;
        }
        return false;
    }

    void add_leftover_rows() {
        for (std::size_t index = 0; index < input_.extra_times.size(); ++index) {
            if (input_.extra_done[index] != 0) continue;
            row_builder builder(input_, input_.extra_times[index], remaining_);
            builder.row.macb_text = "..C.";
            builder.add_extra(index);
            add(builder.row, input_.extra_times[index]);
        }
    }

    void add(macb_row& row, std::uint64_t time) {
        row.row_kind = input_.row_kind;
        row.row_extra = input_.row_extra;
        row.time = time;
        row.date = time_point_of(time, mode_);
        result_.emplace(time, std::move(row));
    }

    macb_rows& result_;
    macb_input& input_;
    time_mode mode_;
    std::size_t remaining_;
    letter_time m_ = letter('M', input_.m, input_.label_m);
    letter_time a_ = letter('A', input_.a, input_.label_a);
    letter_time c_ = letter('C', input_.c, input_.label_c);
    letter_time b_ = letter('B', input_.b, input_.label_b);
};

}  // namespace

void group_macb(macb_rows& result, macb_input& input, time_mode mode) { macb_grouping(result, input, mode).run(); }
