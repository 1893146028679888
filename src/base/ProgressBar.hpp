#pragma once

namespace melta {

// The bar of 95 marks that long loops over geometries print:
//
//     |-----------------------------------------------------------------------------------------------|
//     |===============================================================================================|
//
// Belongs to the thread that reports; output is flushed after each mark.
class ProgressBar {
public:
    static constexpr int width = 95;

    // Prints the frame for `work` units of work, at least 1.
    explicit ProgressBar(int work);

    // Prints the marks that are due when `counter` units are done: counter x width / total in single
    // precision, cut toward zero and kept between 0 and the width. A counter that falls back prints nothing.
    void advance(int counter);

    // Prints the remaining marks and closes the bar. Once.
    void finish();

private:
    void moveTo(int target);

    int total;        // units of work
    int position = 0; // marks printed
};

} // namespace melta
