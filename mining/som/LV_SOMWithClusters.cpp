#include "mining/som/LV_SOMWithClusters.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>

#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using TRowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

struct TPartition {
  std::vector<int32_t> labels;
  TRowMatrix centres;
};

int32_t Nearest(const TRowMatrix& centres, const Eigen::RowVectorXd& point, int32_t count) {
  int32_t best = 0;
  double bestDistance = std::numeric_limits<double>::infinity();
  for (int32_t c = 0; c < count; ++c) {
    const double d = (centres.row(c) - point).squaredNorm();
    if (d < bestDistance) {
      bestDistance = d;
      best = c;
    }
  }
  return best;
}

// k-means of the rows of `points`, each counting with its weight, from farthest-point
// starting centres. A point of weight 0 is assigned but neither pulls a centre nor
// starts one.
TPartition KMeans(const TRowMatrix& points, const std::vector<double>& weight, int32_t k,
                  int32_t first) {
  const auto n = static_cast<int32_t>(points.rows());
  TPartition p;
  p.centres.resize(k, points.cols());
  p.centres.row(0) = points.row(first);
  for (int32_t c = 1; c < k; ++c) {
    int32_t farthest = 0;
    double farthestDistance = -1;
    for (int32_t i = 0; i < n; ++i) {
      const double d =
          (p.centres.row(Nearest(p.centres, points.row(i), c)) - points.row(i)).squaredNorm();
      if (d > farthestDistance) {
        farthestDistance = d;
        farthest = i;
      }
    }
    p.centres.row(c) = points.row(farthest);
  }
  p.labels.assign(static_cast<size_t>(n), -1);
  // Lloyd's steps settle in a few dozen rounds on a map's few hundred nodes; the cap
  // only guards against a cycle of ties.
  for (int32_t round = 0; round < 300; ++round) {
    bool moved = false;
    for (int32_t i = 0; i < n; ++i) {
      const int32_t c = Nearest(p.centres, points.row(i), k);
      moved = moved || c != p.labels[static_cast<size_t>(i)];
      p.labels[static_cast<size_t>(i)] = c;
    }
    if (!moved) break;
    for (int32_t c = 0; c < k; ++c) {
      Eigen::RowVectorXd sum = Eigen::RowVectorXd::Zero(points.cols());
      double total = 0;
      for (int32_t i = 0; i < n; ++i) {
        if (p.labels[static_cast<size_t>(i)] != c) continue;
        sum += weight[static_cast<size_t>(i)] * points.row(i);
        total += weight[static_cast<size_t>(i)];
      }
      if (total > 0) p.centres.row(c) = sum / total;
    }
  }
  return p;
}

// Davies-Bouldin index: lower means tighter, better separated clusters.
double DaviesBouldin(const TRowMatrix& points, const std::vector<double>& weight,
                     const TPartition& p, int32_t k) {
  std::vector<double> spread(static_cast<size_t>(k), 0.0);
  std::vector<double> members(static_cast<size_t>(k), 0.0);
  for (int32_t i = 0; i < points.rows(); ++i) {
    const auto c = static_cast<size_t>(p.labels[static_cast<size_t>(i)]);
    const double w = weight[static_cast<size_t>(i)];
    spread[c] += w * (points.row(i) - p.centres.row(static_cast<Eigen::Index>(c))).norm();
    members[c] += w;
  }
  for (size_t c = 0; c < spread.size(); ++c) {
    if (members[c] > 0) spread[c] /= members[c];
  }
  double sum = 0;
  for (int32_t a = 0; a < k; ++a) {
    double worst = 0;
    for (int32_t b = 0; b < k; ++b) {
      if (a == b) continue;
      const double d = (p.centres.row(a) - p.centres.row(b)).norm();
      const double ratio = spread[static_cast<size_t>(a)] + spread[static_cast<size_t>(b)];
      worst = std::max(worst, d > 0 ? ratio / d : std::numeric_limits<double>::infinity());
    }
    sum += worst;
  }
  return sum / k;
}

}  // namespace

void TLVSOMWithClusters::SetClusterCount(int32_t value) {
  if (value == clusterCount_) return;
  if (value < 0) RaisePropertyValue("ClusterCount", std::to_string(value));
  clusterCount_ = value;
  if (Trained()) Cluster();
}

int32_t TLVSOMWithClusters::ClustersFound() const {
  return clusters_.empty() ? 0 : *std::max_element(clusters_.begin(), clusters_.end()) + 1;
}

void TLVSOMWithClusters::Analyse(const double* rows, TLVRowIndex count) {
  TLVCustomSOM::Analyse(rows, count);
  Cluster();
}

void TLVSOMWithClusters::Cluster() {
  const int32_t nodes = NodeCount();
  clusters_.assign(static_cast<size_t>(nodes), 0);
  if (nodes < 2 || InputWidth() == 0 || Hits().size() != static_cast<size_t>(nodes)) return;
  const TRowMatrix points = Eigen::Map<const TRowMatrix>(Weights().data(), nodes, InputWidth());
  // Nodes count by the rows they won, so that the clusters follow the data and the
  // nodes stretched between two groups of rows join the nearer one; a map without
  // hits (read from an old file) counts every node once.
  const std::vector<int64_t>& hits = Hits();
  std::vector<double> weight(hits.begin(), hits.end());
  if (std::all_of(weight.begin(), weight.end(), [](double w) { return w <= 0; })) {
    weight.assign(static_cast<size_t>(nodes), 1.0);
  }
  const int32_t first =
      static_cast<int32_t>(std::max_element(weight.begin(), weight.end()) - weight.begin());
  const auto occupied = static_cast<int32_t>(
      std::count_if(weight.begin(), weight.end(), [](double w) { return w > 0; }));
  TPartition chosen;
  if (clusterCount_ > 0) {
    chosen = KMeans(points, weight, std::min(clusterCount_, occupied), first);
  } else {
    double bestIndex = std::numeric_limits<double>::infinity();
    for (int32_t k = 2; k <= std::min(kMaxAutoClusters, occupied); ++k) {
      TPartition p = KMeans(points, weight, k, first);
      const double index = DaviesBouldin(points, weight, p, k);
      if (index < bestIndex) {
        bestIndex = index;
        chosen = std::move(p);
      }
    }
  }
  if (chosen.labels.empty()) return;  // a single occupied node: one cluster
  // Number the clusters in the order of their first node.
  std::vector<int32_t> renumber(static_cast<size_t>(nodes), -1);
  int32_t next = 0;
  for (int32_t i = 0; i < nodes; ++i) {
    int32_t& label = renumber[static_cast<size_t>(chosen.labels[static_cast<size_t>(i)])];
    if (label < 0) label = next++;
    clusters_[static_cast<size_t>(i)] = label;
  }
}

std::vector<TLVAnalyticKernel::TResultColumn> TLVSOMWithClusters::ResultColumns() const {
  std::vector<TResultColumn> columns = TLVCustomSOM::ResultColumns();
  columns.push_back({"SOM_CLUSTER", TLVDataType::dtInteger});
  return columns;
}

void TLVSOMWithClusters::ComputeResults(const double* in, ptrdiff_t ldIn, TLVRowIndex rows,
                                        double* out, ptrdiff_t ldOut) const {
  TLVCustomSOM::ComputeResults(in, ldIn, rows, out, ldOut);
  const bool clustered = clusters_.size() == static_cast<size_t>(NodeCount());
  for (TLVRowIndex i = 0; i < rows; ++i) {
    out[ldOut + i] = clustered && !std::isnan(out[i]) ? clusters_[static_cast<size_t>(out[i])]
                                                      : std::numeric_limits<double>::quiet_NaN();
  }
}

void TLVSOMWithClusters::SaveState(ILVSettingsSection& section) const {
  TLVCustomSOM::SaveState(section);
  WriteSetting(section, "ClusterCount", clusterCount_);
  if (Trained())
    section.Put("Clusters", JoinSetting(std::vector<double>(clusters_.begin(), clusters_.end())));
}

void TLVSOMWithClusters::LoadState(const ILVSettingsSection& section) {
  const int32_t count = ReadSetting(section, "ClusterCount", 0);
  if (count < 0) RaisePropertyValue("ClusterCount", std::to_string(count));
  const std::vector<double> clusters =
      SplitSetting<double>(section.Get("Clusters").value_or(""), "Clusters");
  clusterCount_ = count;
  TLVCustomSOM::LoadState(section);
  if (clusters.empty()) return;  // clustered from the weights as they were read
  const bool valid = std::all_of(clusters.begin(), clusters.end(), [this](double c) {
    return c >= 0 && c < NodeCount() && c == std::floor(c);
  });
  if (clusters.size() != static_cast<size_t>(NodeCount()) || !valid) {
    RaisePropertyValue("Clusters", section.Get("Clusters").value_or(""));
  }
  clusters_.assign(clusters.begin(), clusters.end());
}

void RegisterSOMWithClustersTexts() {
  TLVLocalization::Instance().RegisterKeys({"SOMClusterCountCaption"});
}

}  // namespace lv
