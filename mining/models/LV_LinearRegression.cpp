#include "mining/models/LV_LinearRegression.h"

#include <Eigen/Dense>
#include <cmath>

#include "core/LV_Errors.h"
#include "core/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using TMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;
using TConstMap = Eigen::Map<const TMatrix, 0, Eigen::OuterStride<>>;
using TMap = Eigen::Map<TMatrix, 0, Eigen::OuterStride<>>;

// Rows of the training set folded into the factor at once. Householder QR sweeps the
// whole chunk once per column, so the chunk is kept small enough (4096 rows of up to a
// few dozen components) to stay in the processor's cache between sweeps.
constexpr TLVRowIndex kChunkRows = 4096;

// Running mean and sum of squared deviations of each output, merged chunk by chunk.
struct TMoments {
  double count = 0;
  Eigen::VectorXd mean;
  Eigen::VectorXd m2;

  void Add(const TMatrix& y) {
    const auto n = static_cast<double>(y.rows());
    if (n == 0) return;
    const Eigen::VectorXd chunkMean = y.colwise().mean().transpose();
    const Eigen::VectorXd chunkM2 =
        (y.rowwise() - chunkMean.transpose()).colwise().squaredNorm().transpose();
    if (count == 0) {
      mean = chunkMean;
      m2 = chunkM2;
    } else {
      const Eigen::VectorXd delta = chunkMean - mean;
      m2 += chunkM2 + delta.cwiseProduct(delta) * (count * n / (count + n));
      mean += delta * (n / (count + n));
    }
    count += n;
  }
};

}  // namespace

// --- TLVLinearRegressionKernel ---

void TLVLinearRegressionKernel::DoInit() {
  coefficients_.assign(static_cast<size_t>(OutputWidth()),
                       std::vector<double>(static_cast<size_t>(InputWidth()) + 1, 0.0));
  rSquared_.assign(static_cast<size_t>(OutputWidth()), 0.0);
}

void TLVLinearRegressionKernel::SetModel(std::vector<std::vector<double>> coefficients,
                                         std::vector<double> rSquared) {
  coefficients_ = std::move(coefficients);
  rSquared_ = std::move(rSquared);
  SetTrained(true);
}

void TLVLinearRegressionKernel::Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows,
                                        double* out, ptrdiff_t ldOut) const {
  const TConstMap x(in, rows, InputWidth(), Eigen::OuterStride<>(ldIn));
  TMap y(out, rows, OutputWidth(), Eigen::OuterStride<>(ldOut));
  for (int32_t k = 0; k < OutputWidth(); ++k) {
    const std::vector<double>& b = coefficients_[static_cast<size_t>(k)];
    const Eigen::Map<const Eigen::VectorXd> slopes(b.data() + 1, InputWidth());
    y.col(k).noalias() = x * slopes;
    y.col(k).array() += b[0];
  }
}

void TLVLinearRegressionKernel::SaveState(ILVSettingsSection& section) const {
  ILVSettingsSection& all = section.AddSection("Coefficients");
  for (size_t k = 0; k < coefficients_.size(); ++k) {
    ILVSettingsSection& item = all.AddItem("Output");
    WriteSetting(item, "RSquared", rSquared_[k]);
    item.Put("Values", JoinReals(coefficients_[k]));
  }
}

void TLVLinearRegressionKernel::LoadState(const ILVSettingsSection& section) {
  std::vector<std::vector<double>> coefficients;
  std::vector<double> rSquared;
  if (const ILVSettingsSection* all = section.FindSection("Coefficients")) {
    for (const ILVSettingsSection* item : all->Items("Output")) {
      coefficients.push_back(SplitReals("Values", item->Get("Values").value_or("")));
      rSquared.push_back(ReadSetting(*item, "RSquared", 0.0));
      if (coefficients.back().size() != static_cast<size_t>(InputWidth()) + 1) {
        RaisePropertyValue("Values", item->Get("Values").value_or(""));
      }
    }
  }
  if (coefficients.empty()) return;  // an untrained kernel keeps its zeros
  if (coefficients.size() != static_cast<size_t>(OutputWidth())) {
    RaisePropertyValue("Coefficients", std::to_string(coefficients.size()));
  }
  coefficients_ = std::move(coefficients);
  rSquared_ = std::move(rSquared);
}

// --- TLVLinearRegressionTeacher ---

void TLVLinearRegressionTeacher::DoTeach(ILVProgress* progress) {
  TLVTeachDataSource& data = *GetTeachDataSource();
  TLVTunedNormDataSource& tuned = *data.GetTunedNormDataSource();
  auto& kernel = static_cast<TLVLinearRegressionKernel&>(*GetKernel());
  const std::vector<TLVRowIndex>& rows = data.Rows(TLVDataSourceType::dstTeach);
  const std::vector<int32_t> inputs = tuned.InputColumns();
  const std::vector<int32_t> outputs = tuned.OutputColumns();
  const int32_t p = kernel.InputWidth();
  const int32_t q = kernel.OutputWidth();
  const int32_t width = 1 + p + q;
  const auto total = static_cast<TLVRowIndex>(rows.size());

  TLVProgressScope scope(progress, LVText("SRegressionTeachCaption"), total);
  TMatrix factor = TMatrix::Zero(0, width);
  TMatrix chunk;
  TMoments moments;
  TLVRowIndex used = 0;
  for (TLVRowIndex at = 0; at < total; at += kChunkRows) {
    const TLVRowIndex n = std::min(kChunkRows, total - at);
    // [factor rows; 1, inputs, outputs of the chunk], the chunk written in place.
    chunk.resize(factor.rows() + n, width);
    chunk.topRows(factor.rows()) = factor;
    auto block = chunk.bottomRows(n);
    block.col(0).setOnes();
    const ptrdiff_t ld = chunk.rows();
    double* base = chunk.data() + factor.rows();
    tuned.NormalizeRows(inputs, rows.data() + at, 0, n, base + ld, ld);
    tuned.NormalizeRows(outputs, rows.data() + at, 0, n, base + (1 + p) * ld, ld);
    // Rows with a missing component take no part: move the complete ones up.
    TLVRowIndex kept = 0;
    for (TLVRowIndex i = 0; i < n; ++i) {
      if (!block.row(i).allFinite()) continue;
      if (kept != i) block.row(kept) = block.row(i);
      ++kept;
    }
    const TLVRowIndex stacked = factor.rows() + kept;
    moments.Add(block.topRows(kept).rightCols(q));
    used += kept;
    // Decomposed in place: the chunk's own storage holds the factor afterwards.
    Eigen::Ref<TMatrix> stackedRows = chunk.topRows(stacked);
    Eigen::HouseholderQR<Eigen::Ref<TMatrix>> qr(stackedRows);
    const TLVRowIndex r = std::min<TLVRowIndex>(stacked, width);
    factor = qr.matrixQR().topRows(r).triangularView<Eigen::Upper>();
    scope.Step(at + n);
  }

  // The constant term and the inputs must be independent: a tiny pivot of the
  // triangular factor (relative to the largest) means they are not.
  const int32_t k = 1 + p;
  if (factor.rows() < width || used <= k) throw ELVError("ErrRegressionSingular");
  const Eigen::VectorXd pivots = factor.topLeftCorner(k, k).diagonal().cwiseAbs();
  if (!(pivots.minCoeff() > 1e-10 * pivots.maxCoeff())) throw ELVError("ErrRegressionSingular");
  const TMatrix solution =
      factor.topLeftCorner(k, k).triangularView<Eigen::Upper>().solve(factor.topRightCorner(k, q));
  const TMatrix residual = factor.bottomRightCorner(q, q).triangularView<Eigen::Upper>();

  std::vector<std::vector<double>> coefficients(static_cast<size_t>(q));
  std::vector<double> rSquared(static_cast<size_t>(q));
  for (int32_t j = 0; j < q; ++j) {
    coefficients[static_cast<size_t>(j)].assign(solution.col(j).data(), solution.col(j).data() + k);
    const double rss = residual.col(j).squaredNorm();
    const double tss = moments.m2(j);
    rSquared[static_cast<size_t>(j)] = tss > 0 ? 1 - rss / tss : (rss == 0 ? 1.0 : 0.0);
  }
  kernel.SetModel(std::move(coefficients), std::move(rSquared));
  for (TLVDataSourceType set : {TLVDataSourceType::dstTeach, TLVDataSourceType::dstTest}) {
    CalcErrors(set, progress);
  }
}

void RegisterLinearRegressionTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrRegressionSingular", "SRegressionTeachCaption"});
}

}  // namespace lv
