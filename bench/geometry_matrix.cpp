// Singular value decomposition, inverse and determinant of square matrices
// against GSL's Golub-Reinsch SVD and Eigen's dynamic-size matrices, for
// 4x4, 16x16 and 64x64 random matrices. Every decomposition works on a
// fresh copy of the input (all of them are destructive or allocate their
// results), so the copy is part of each measurement.
#include <kernel/Matrix.h>
#include <kernel/NR.h>

#include <benchmark/benchmark.h>
#include <gsl/gsl_linalg.h>

#include <Eigen/Dense>
#include <random>

namespace {

Kernel::CMatrix RandomMatrix(int n) {
  std::mt19937 rng(unsigned(n) * 7919u);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  Kernel::CMatrix m(n, n);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c) m[r][c] = dist(rng);
  return m;
}

Eigen::MatrixXd ToEigen(const Kernel::CMatrix& m) {
  Eigen::MatrixXd e(m.GetRowCount(), m.GetColCount());
  for (int r = 0; r < m.GetRowCount(); ++r)
    for (int c = 0; c < m.GetColCount(); ++c) e(r, c) = m.GetAt(r, c);
  return e;
}

void BM_SVD_NR_svdcmp(benchmark::State& state) {
  const int n = int(state.range(0));
  NR::NRMat<double> original;
  RandomMatrix(n).Write(original);
  NR::NRMat<double> a(n, n), v(n, n);
  NR::NRVec<double> w(n);
  for (auto _ : state) {
    a = original;
    benchmark::DoNotOptimize(NR::svdcmp(a, w, v));
    benchmark::ClobberMemory();
  }
}

void BM_SVD_CMatrix(benchmark::State& state) {
  const Kernel::CMatrix m = RandomMatrix(int(state.range(0)));
  Kernel::CMatrix U, W, V;
  for (auto _ : state) {
    benchmark::DoNotOptimize(m.SVD(U, W, V));
    benchmark::ClobberMemory();
  }
}

void BM_SVD_GSL_GolubReinsch(benchmark::State& state) {
  const int n = int(state.range(0));
  const Kernel::CMatrix m = RandomMatrix(n);
  gsl_matrix* original = gsl_matrix_alloc(n, n);
  for (int r = 0; r < n; ++r)
    for (int c = 0; c < n; ++c) gsl_matrix_set(original, r, c, m.GetAt(r, c));
  gsl_matrix* a = gsl_matrix_alloc(n, n);
  gsl_matrix* v = gsl_matrix_alloc(n, n);
  gsl_vector* s = gsl_vector_alloc(n);
  gsl_vector* work = gsl_vector_alloc(n);
  for (auto _ : state) {
    gsl_matrix_memcpy(a, original);
    benchmark::DoNotOptimize(gsl_linalg_SV_decomp(a, v, s, work));
    benchmark::ClobberMemory();
  }
  gsl_vector_free(work);
  gsl_vector_free(s);
  gsl_matrix_free(v);
  gsl_matrix_free(a);
  gsl_matrix_free(original);
}

void BM_SVD_Eigen_JacobiSVD(benchmark::State& state) {
  const Eigen::MatrixXd m = ToEigen(RandomMatrix(int(state.range(0))));
  for (auto _ : state) {
    Eigen::JacobiSVD<Eigen::MatrixXd> svd(m, Eigen::ComputeThinU | Eigen::ComputeThinV);
    benchmark::DoNotOptimize(svd.singularValues().data());
  }
}

void BM_SVD_Eigen_BDCSVD(benchmark::State& state) {
  const Eigen::MatrixXd m = ToEigen(RandomMatrix(int(state.range(0))));
  for (auto _ : state) {
    Eigen::BDCSVD<Eigen::MatrixXd> svd(m, Eigen::ComputeThinU | Eigen::ComputeThinV);
    benchmark::DoNotOptimize(svd.singularValues().data());
  }
}

void BM_Inverse_CMatrix(benchmark::State& state) {
  const Kernel::CMatrix m = RandomMatrix(int(state.range(0)));
  Kernel::CMatrix out;
  for (auto _ : state) {
    benchmark::DoNotOptimize(m.Inverse(out, 0.0));
    benchmark::ClobberMemory();
  }
}

void BM_Inverse_Eigen(benchmark::State& state) {
  const Eigen::MatrixXd m = ToEigen(RandomMatrix(int(state.range(0))));
  Eigen::MatrixXd out(m.rows(), m.cols());
  for (auto _ : state) {
    out = m.inverse();
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
}

void BM_Determinant4x4_CMatrix(benchmark::State& state) {
  const Kernel::CMatrix m = RandomMatrix(4);
  for (auto _ : state) benchmark::DoNotOptimize(m.Determinant());
}

void BM_Determinant4x4_Eigen(benchmark::State& state) {
  const Eigen::MatrixXd m = ToEigen(RandomMatrix(4));
  for (auto _ : state) benchmark::DoNotOptimize(m.determinant());
}

}  // namespace

BENCHMARK(BM_SVD_NR_svdcmp)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_SVD_GSL_GolubReinsch)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_SVD_CMatrix)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_SVD_Eigen_JacobiSVD)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_SVD_Eigen_BDCSVD)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_Inverse_CMatrix)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_Inverse_Eigen)->Arg(4)->Arg(16)->Arg(64);
BENCHMARK(BM_Determinant4x4_CMatrix);
BENCHMARK(BM_Determinant4x4_Eigen);

BENCHMARK_MAIN();
