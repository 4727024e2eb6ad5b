// The median of nine values, by the exchange network of Paeth (Graphics Gems, 1990).
void sortPair(inout int a, inout int b) {
  int low = min(a, b);
  b = max(a, b);
  a = low;
}

int med9(int v[9]) {
  sortPair(v[1], v[2]);
  sortPair(v[4], v[5]);
  sortPair(v[7], v[8]);
  sortPair(v[0], v[1]);
  sortPair(v[3], v[4]);
  sortPair(v[6], v[7]);
  sortPair(v[1], v[2]);
  sortPair(v[4], v[5]);
  sortPair(v[7], v[8]);
  v[3] = max(v[0], v[3]);
  v[5] = min(v[5], v[8]);
  sortPair(v[4], v[7]);
  v[6] = max(v[3], v[6]);
  v[4] = max(v[1], v[4]);
  v[2] = min(v[2], v[5]);
  v[4] = min(v[4], v[7]);
  sortPair(v[4], v[2]);
  v[4] = max(v[6], v[4]);
  return min(v[4], v[2]);
}
