print(1e5)
