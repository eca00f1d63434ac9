// The map of a map node: a self-organising map whose nodes are grouped into clusters.
//
// After training the nodes are clustered by k-means on their weight vectors, each node
// counting with the number of training rows it won (nodes that won none are assigned
// to the nearest cluster but do not move it), so that the clusters follow the data and
// the nodes stretched between two groups of rows join the nearer group. The first
// centre is the node that the most training rows chose (the lowest number on a tie),
// each further one the node farthest from the centres so far, then assignment and
// centre steps until no node changes cluster. "ClusterCount" fixes the number of
// clusters; 0 (the default) tries 2 to 10 and keeps the count with the lowest
// Davies-Bouldin index. Clusters are numbered in the order of their first node, so
// node 0 is always in cluster 0. Applied to rows the map answers with each row's node
// ("SOM_NODE") and its node's cluster ("SOM_CLUSTER").
#pragma once

#include "mining/som/LV_SOM.h"

namespace lv {

class TLVSOMWithClusters : public TLVCustomSOM {
 public:
  static constexpr std::string_view kKernelName = "TLVSOMWithClusters";
  static constexpr int32_t kMaxAutoClusters = 10;
  std::string_view KernelName() const override { return kKernelName; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TLVSOMWithClusters>(*this);
  }

  int32_t GetClusterCount() const { return clusterCount_; }
  // 0 chooses the count; a negative count is refused. A trained map is clustered anew.
  void SetClusterCount(int32_t value);
  // The cluster of every node (empty before training).
  const std::vector<int32_t>& Clusters() const { return clusters_; }
  int32_t ClustersFound() const;

  void Analyse(const double* rows, TLVRowIndex count) override;
  // Groups the nodes anew from their weights (and hits).
  void Cluster();

  std::vector<TResultColumn> ResultColumns() const override;
  void ComputeResults(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                      ptrdiff_t ldOut) const override;

 protected:
  // The map's state, then "ClusterCount" and "Clusters" (one number per node).
  void SaveState(ILVSettingsSection& section) const override;
  void LoadState(const ILVSettingsSection& section) override;

 private:
  int32_t clusterCount_ = 0;
  std::vector<int32_t> clusters_;
};

void RegisterSOMWithClustersTexts();

}  // namespace lv
