// ProgramReport: what one fuzz program did and what it found wrong.
//
// Each exported call the program makes is written down as one line ("Scan(h0 live, true) -> 7"),
// kept in memory and, when tracing is on, printed to standard error as it happens; a saved input
// can so be read back as the call sequence it decodes to. A broken promise of the library (a
// status the public header rules out, a handle that survives DisConnectDevice, a device left
// open) is a violation: the fuzz target stops the process on it, a regression test fails.
//
// Threads: used by the program's own thread only (callbacks report through CallbackProbe).
#pragma once

#include <string>
#include <vector>

namespace zeta::fuzz {

class ProgramReport {
public:
    explicit ProgramReport(bool trace) : trace_(trace) {}

    // An exported call about to be made: traced at once, so that a crash inside it shows which
    // call it was.
    void begin(const std::string& call);
    // The call begun last returned `result`: one line of the call sequence, "call -> result".
    void end(const std::string& call, const std::string& result);
    // A line of the sequence that is not an exported call (a skipped call, a fault, a wait).
    void call(const std::string& line);
    // A broken promise; `what` says which and with what values.
    void violation(const std::string& what);
    // Records a violation unless `condition` holds.
    void expect(bool condition, const std::string& what) {
        if (!condition) violation(what);
    }

    const std::vector<std::string>& calls() const { return calls_; }
    const std::vector<std::string>& violations() const { return violations_; }
    // The call sequence and the violations as one text.
    std::string text() const;

private:
    bool trace_;
    std::vector<std::string> calls_;
    std::vector<std::string> violations_;
};

}  // namespace zeta::fuzz
