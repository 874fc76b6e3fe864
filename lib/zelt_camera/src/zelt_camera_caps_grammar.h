// The grammar of the caps text form, "W x H @ N[/D] fps".
//
// The rules are Boost.Spirit Qi parsers, costly to compile, so they live behind this opaque
// class: zelt_camera_caps_grammar_def.h defines them and zelt_camera_caps_grammar.cpp is the
// one translation unit that includes Qi. Everything else sees only this declaration.
#pragma once

#include <memory>

namespace zelt_camera {

struct Caps;

/// The five rules of the caps text form:
///
///     width     = int
///     height    = int
///     rational  = int "/" int          (no white space anywhere inside)
///     framerate = rational | int       (a lone int n gives n/1)
///     start     = width "x" height "@" framerate "fps"
///
/// `int` is an optional sign and decimal digits whose value fits into 32 bits. The start rule
/// skips ASCII white space (bytes 9 to 13 and 32) before every item and after "fps"; the
/// other four rules skip nothing, so no white space can split a number or a rational. The
/// literals "x", "@" and "fps" are case-sensitive. A grammar holds no state between parses;
/// it is cheap to build.
class CapsGrammar {
public:
    CapsGrammar();
    ~CapsGrammar();
    CapsGrammar(const CapsGrammar&) = delete;
    CapsGrammar& operator=(const CapsGrammar&) = delete;

    /// Phrase-parses [first, last) into `caps`, filling width, height and framerate in that
    /// order and leaving the other fields as they were. Advances `first` past the match and
    /// its trailing white space; returns whether the start rule matched (text after the
    /// match is not examined). A zero denominator throws boost::bad_rational from inside the
    /// parse.
    bool parse(const char*& first, const char* last, Caps& caps) const;

private:
    struct Rules;
    std::unique_ptr<const Rules> m_rules;
};

}  // namespace zelt_camera
