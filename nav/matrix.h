// Dense matrices of double: contiguous, row-major, element (i, j) of an r x c matrix at i*c + j.
// The caller owns all storage. A size below 1 makes a routine do nothing.
#pragma once

#include "ZuVDR.h"

// C += A B with A m x n, B n x p, C m x p. C accumulates: zero it first for a plain product. C must
// not overlap A or B.
ZUVDR_EXPORT void MatrixMul(double* A, double* B, double* C, int m, int n, int p);

// B = A^T with A m x n, B n x m; A and B must not overlap.
ZUVDR_EXPORT void MatrixTranspose(double* A, double* B, int m, int n);

// Ainv = A^-1 with A n x n, by LU factorisation without pivoting (Doolittle). There is no test for
// singularity: a zero pivot leaves infinities or NaNs in Ainv. Ainv may be A itself, which is then
// replaced; any other overlap is not allowed. Else A is not modified.
ZUVDR_EXPORT void MatrixInverse_n(double* A, double* Ainv, int n);

// Euclidean norm of v[0..n-1]; 0 for n < 1. For hosts; the engine does not call it.
ZUVDR_EXPORT double MatrixLength(double* v, int n);
