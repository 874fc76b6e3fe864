// Rules of the caps text form (see CapsGrammar in zelt_camera_caps_grammar.h).
//
// Included by zelt_camera_caps_grammar.cpp only: this is the one place that pulls in Qi.
#pragma once

#include <boost/phoenix/bind/bind_function.hpp>
#include <boost/phoenix/bind/bind_member_variable.hpp>
#include <boost/phoenix/object/construct.hpp>
#include <boost/phoenix/operator.hpp>
#include <boost/spirit/include/qi.hpp>
#include <stdexcept>

#include "zelt_camera_caps.h"
#include "zelt_camera_caps_grammar.h"

namespace zelt_camera {

namespace qi = boost::spirit::qi;
namespace phx = boost::phoenix;

namespace caps_grammar_detail {

using Iterator = const char*;
using Rate = boost::rational<int>;
// Skips exactly the bytes 9 to 13 and 32: Qi's ASCII classification table marks those as
// space, and bytes from 128 up are not ASCII, so they never match.
using Skipper = qi::ascii::space_type;

// Builds the rate of "N/D". A zero denominator throws boost::bad_rational out of the parse;
// a rate whose normalized numerator does not fit into 32 bits does not match, like any
// number out of the 32-bit range.
inline void assignRate(Rate& rate, int numerator, int denominator, bool& pass) {
    try {
        rate = make_framerate(numerator, denominator);
    } catch (const std::overflow_error&) {
        pass = false;
    }
}

}  // namespace caps_grammar_detail

struct CapsGrammar::Rules
    : qi::grammar<caps_grammar_detail::Iterator, Caps(), caps_grammar_detail::Skipper> {
    using Iterator = caps_grammar_detail::Iterator;
    using Rate = caps_grammar_detail::Rate;

    Rules() : Rules::base_type(start, "caps") {
        using qi::_1;
        using qi::_2;
        using qi::_pass;
        using qi::_val;
        using qi::int_;
        using qi::lit;

        width = int_;
        height = int_;
        const auto to_rate = phx::bind(&caps_grammar_detail::assignRate, _val, _1, _2, _pass);
        rational = qi::no_skip[(int_ >> lit('/') >> int_)[to_rate]];
        framerate = rational[_val = _1] | int_[_val = phx::construct<Rate>(_1)];
        start = width[phx::bind(&Caps::width, _val) = _1] >> lit('x') >>
                height[phx::bind(&Caps::height, _val) = _1] >> lit('@') >>
                framerate[phx::bind(&Caps::framerate, _val) = _1] >> lit("fps");
    }

    // Without a skipper of their own these four rules are implied lexemes: the caller's
    // skipper runs once before them and never inside.
    qi::rule<Iterator, int()> width;
    qi::rule<Iterator, int()> height;
    qi::rule<Iterator, Rate()> rational;
    qi::rule<Iterator, Rate()> framerate;
    qi::rule<Iterator, Caps(), caps_grammar_detail::Skipper> start;
};

CapsGrammar::CapsGrammar() : m_rules(std::make_unique<const Rules>()) {}

CapsGrammar::~CapsGrammar() = default;

bool CapsGrammar::parse(const char*& first, const char* last, Caps& caps) const {
    // Post-skip (the default) consumes white space after "fps" as well.
    return qi::phrase_parse(first, last, *m_rules, qi::ascii::space, caps);
}

}  // namespace zelt_camera
