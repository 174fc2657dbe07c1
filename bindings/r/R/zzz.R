.onUnload <- function(libpath) {
  library.dynam.unload("miravex", libpath)
}
