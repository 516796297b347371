print("fine")
  --[[ open
never closed
