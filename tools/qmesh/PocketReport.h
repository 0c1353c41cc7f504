#pragma once

#include <iosfwd>
#include <string>

// `qmesh pocket`: the medial axis of a pocket read from an ISO contour file, reported on
// standard output and optionally drawn as SVG and dumped as ISO text.
struct PocketOptions
{
    std::string input;
    // Empty: not written.
    std::string svg;
    std::string iso;
    // Add a vertex at the narrowest place inside each arc (QmAlgVor::AddMinPt) first.
    bool minPt = false;
};

// Reads the chains of the file: one chain is the pocket; of several, the closed ones make
// a pocket with islands, the largest the outer contour (turned clockwise) and the others
// islands (turned counter-clockwise). Computes the diagram, prints its counts and largest
// inscribed circle to out and writes the files asked for. Returns an empty string on
// success, otherwise a one-line reason for the user; every mesh and the diagram are freed
// on both paths.
std::string RunPocket(PocketOptions const& options, std::ostream& out);
