// Small types shared by values, expressions and variables.
#pragma once

#include <bit>
#include <cstdint>

// A name (symbol, variable, function, process) as a number of the name table.
using unique_identifier = std::uint32_t;
using uid_for_symbol = std::uint32_t;

// Binary operators; the numbers are the order the parser relies on.
enum e_binop : int {
    OP_PLUS = 0,
    OP_MINUS = 1,
    OP_TIMES = 2,
    OP_DIV = 3,
    OP_MOD = 4,
    OP_LT = 5,
    OP_LE = 6,
    OP_EQ = 7,
    OP_NE = 8,
    OP_GT = 9,
    OP_GE = 10,
    OP_AND = 11,
    OP_OR = 12,
};

enum e_monop : int { OP_NOT = 0, OP_NEG = 1 };

inline bool is_arithmetic_op(e_binop op) {
    return op >= OP_PLUS && op <= OP_MOD;
}
inline bool is_relational_op(e_binop op) {
    return op >= OP_LT && op <= OP_GE;
}

// Unit of a length of time: 0 seconds (absolute), 1 beats (relative).
enum duration_type : int { DURATION_SECONDS = 0, DURATION_BEATS = 1 };

// How much of an expression is known before the run.
enum Variability : int { VARIABILITY_DYNAMIC = 0, VARIABILITY_SCORE_TIME = 1, VARIABILITY_STATIC = 2 };

// Kinds of observers of a variable.
enum VAR_CALLBACK : int { CLBK = 0, UPDATE_POS = 1, TEMPO = 2 };

// Parameters of a tempo variable.
enum PARAM : int { PARAM_TEMPO = 0, PARAM_PERIOD = 1, PARAM_POSITION = 2, PARAM_RNOW = 3, PARAM_RCNOW = 4 };

// Every test of a date or a delay against zero uses these.
inline constexpr double SEC_EPSILON = 0.0001;
inline constexpr double BEAT_EPSILON = 0.0001;

// The quiet NaN of a failed numeric conversion; its payload (666) tells it
// from a NaN that a computation produced.
inline constexpr std::uint64_t FAILED_CONVERSION_NAN_BITS = 0x7FF800000000029AULL;
inline double failed_conversion_nan() {
    return std::bit_cast<double>(FAILED_CONVERSION_NAN_BITS);
}
inline bool is_failed_conversion_nan(double x) {
    return std::bit_cast<std::uint64_t>(x) == FAILED_CONVERSION_NAN_BITS;
}

// The marker level of the outermost scope in `Expression::set_env`.
inline constexpr int GLOBAL_SCOPE_LEVEL = -666;
