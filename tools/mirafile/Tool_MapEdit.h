// mirafile map edit FILE -o OUT OP...: tempo edits applied to a saved map file.
//
// The operations run in the order given on the command line, each through Time_TempoEdit:
//   --insert-change POS=BPM   a tempo change (5 to 999 quarter notes a minute)
//   --add-idb POS=SAMPLE      an identified beat: POS locked to SAMPLE
//   --insert-time AT:LENGTH   time inserted at AT
//   --delete-time A:B         the time from A to B removed
//   --erase A:B               the tempo events from A to B removed (the tempo at A goes on)
//   --nudge A:B:AMOUNT        the tempo events from A to B moved by AMOUNT
//   --to-idb, --to-changes    the whole map converted to identified beats or to changes
// POS, AT, A and B are positions BAR|BEAT[|TICK] through the file's meter map (Tool_TimeMaps.h);
// LENGTH and AMOUNT are quarter notes ("2", "0.5", "-1") or samples ("22050s", "-22050s").
// The range operations need a map of changes only or of identified beats only. The meter map
// is written back unchanged. OUT is written under a temporary name and renamed when whole; FILE
// is only read, and OUT may not be FILE. Bad input is a Tool_UsageError naming the option.
#pragma once

#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

class Tool_MapEdit
{
public:
    // Declares -o and the operations on the map command.
    static void Declare(CLI::App& ioApp);
    // The options among them given on the command line.
    static std::set<std::string> Given();
    // iArgs: FILE.
    static int Run(const std::vector<std::string>& iArgs);
};
