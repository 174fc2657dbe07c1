(require :asdf)
(asdf:load-system :cffi)
(cffi:load-foreign-library "libmiravex_host.so.1")

(cffi:defcstruct numbers                       ; mvx_numbers
  (data :pointer) (type :int32) (rank :int32) (size :int64 :count 4) (step :int64 :count 4))

(defun set-reals (call name rows columns reals) ; row by row
  (cffi:with-foreign-objects ((data :double (length reals)) (given '(:struct numbers)))
    (loop for real in reals for i from 0 do (setf (cffi:mem-aref data :double i) (coerce real 'double-float)))
    (cffi:with-foreign-slots (((:pointer size) (:pointer step)) given (:struct numbers))
      (setf (cffi:mem-aref size :int64 0) rows (cffi:mem-aref size :int64 1) columns
            (cffi:mem-aref step :int64 0) (* 8 columns) (cffi:mem-aref step :int64 1) 8))
    (setf (cffi:foreign-slot-value given '(:struct numbers) 'data) data
          (cffi:foreign-slot-value given '(:struct numbers) 'type) 4 ; MVX_REAL64
          (cffi:foreign-slot-value given '(:struct numbers) 'rank) 2)
    (cffi:foreign-funcall "mvx_set_numbers" :pointer call :string name :pointer given :int)))

(let ((call (cffi:foreign-funcall "mvx_begin" :string "match_shapes" :pointer)))
  (set-reals call "contour1" 4 2 '(0 0 40 0 40 20 0 20))
  (set-reals call "contour2" 3 2 '(0 0 30 0 15 40))
  (if (zerop (cffi:foreign-funcall "mvx_run" :pointer call :int))
      (print (cffi:foreign-funcall "mvx_real" :pointer call :double))
      (print (cffi:foreign-funcall "mvx_error" :pointer call :string)))
  (cffi:foreign-funcall "mvx_end" :pointer call :void))
