#include "nav/matrix.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/textbook.h"

namespace {

using zuvdr::tests::Matrix;

// Symmetric positive definite as in the filters, and without symmetry.
TEST(Matrix, InverseAgreesWithEigenUpToTheLargestMeasurement) {
  for (int n = 1; n <= 8; ++n) {
    for (int i = 0; i < 10; ++i) {
      const Matrix root = Matrix::random(n, n), eye = Matrix::identity(n);
      for (Matrix A : {root * root.transpose() + 0.1 * eye, root + 4.0 * eye}) {
        const Matrix before = A, expected = solve(A, eye);
        Matrix inverse = Matrix::zero(n, n);
        MatrixInverse_n(A.data(), inverse.data(), n);
        EXPECT_LT((inverse - expected).norm(), 1e-11 * expected.norm()) << n;
        EXPECT_EQ(A, before);
      }
    }
  }
}

TEST(Matrix, ZeroPivotIsNeitherExchangedNorHidden) {
  double exchange[4] = {0, 1, 1, 0}, singular[9] = {1, 2, 3, 2, 4, 6, 0, 1, 1}, inverse[9];
  MatrixInverse_n(exchange, inverse, 2);
  EXPECT_FALSE(std::isfinite(Matrix(inverse, 2, 2).norm()));
  MatrixInverse_n(singular, inverse, 3);
  EXPECT_FALSE(std::isfinite(Matrix(inverse, 3, 3).norm()));
}

TEST(Matrix, ProductIsAddedAndSizesBelowOneDoNothing) {
  double A[6] = {1, 2, 3, 4, 5, 6}, B[3] = {7, 8, 9}, C[2] = {100, 200}, T[6], v[3] = {2, -3, 6};
  MatrixMul(A, B, C, 2, 3, 1);  // 7 + 16 + 27 and 28 + 40 + 54
  MatrixTranspose(A, T, 2, 3);
  EXPECT_EQ(Matrix(T, 3, 2), Matrix(A, 2, 3).transpose());
  EXPECT_DOUBLE_EQ(MatrixLength(v, 3), 7.0);
  for (const int n : {0, -1}) {
    MatrixMul(A, B, C, n, 3, 1);
    MatrixMul(A, B, C, 2, 3, n);
    MatrixTranspose(A, C, n, 1);
    MatrixInverse_n(A, C, n);
    EXPECT_EQ(MatrixLength(v, n), 0.0);
  }
  EXPECT_EQ(Matrix(C, 2), Matrix({150, 322}));
}

}  // namespace
