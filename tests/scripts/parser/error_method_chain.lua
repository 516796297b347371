local a = {b = {}}
function a:b.c() end
